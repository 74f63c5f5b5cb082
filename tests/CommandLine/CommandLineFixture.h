// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "CommandLine/CommandLine.h"
#include "Platform/ForwardingFileSystem.h"
#include "support/MemoryFileSystem.h"

namespace quillbrook {

// Folders for the memory file system, which has none, and its calls one at a time.
class MemoryTree final : public ForwardingFileSystem {
 public:
  MemoryTree() : ForwardingFileSystem(memory) {}

  // Adds a file, and the folders that it lies in to their listings. Paths begin with "/".
  MemoryFileSystem::Node& put(const std::string& path, std::string_view content) {
    return put(FilePath(path), MemoryFileSystem::Bytes(content.begin(), content.end()));
  }
  MemoryFileSystem::Node& put(const FilePath& path, MemoryFileSystem::Bytes content) {
    enter(path, FileKind::regular);
    return memory.put(path, std::move(content));
  }
  void enter(const FilePath& path, FileKind kind) {
    auto& entries = folders_[path.parent()];
    const DirectoryEntry entry{std::string(path.name()), kind};
    if (std::ranges::find(entries, entry) == entries.end()) entries.push_back(entry);
    if (path.parent() == FilePath("/") || memory.exists(path.parent())) return;
    enter(path.parent(), FileKind::directory);
    memory.put(path.parent(), {}).status.kind = FileKind::directory;
  }
  [[nodiscard]] std::string content(const std::string& path) {
    const auto bytes = memory.read(FilePath(path));
    return bytes ? std::string(bytes->begin(), bytes->end()) : "unreadable: " + bytes.error().text();
  }

  Result<std::unique_ptr<DirectoryReader>> open(const FilePath& path) const {
    if (const auto error = unreadable.find(path); error != unreadable.end()) return std::unexpected(error->second);
    const auto folder = folders_.find(path);
    if (folder == folders_.end()) return std::unexpected(ErrorNumber::noEntry);
    return std::make_unique<Reader>(folder->second, devices.contains(path) ? devices.at(path) : 1);
  }

  // Called before each read, creation and replacement of a file, on the thread that does it.
  std::function<void()> onDataCall = [] {};

  Result<FileStatus> lstat(const FilePath& path) override {
    const std::lock_guard lock(mutex_);
    return ForwardingFileSystem::lstat(path);
  }
  Result<std::unique_ptr<FileWriter>> createExclusively(const FilePath& path, std::uint32_t mode,
                                                        const FilePath& like) override {
    onDataCall();
    const std::lock_guard lock(mutex_);
    return ForwardingFileSystem::createExclusively(path, mode, like);
  }
  Result<std::unique_ptr<FileReader>> openForReading(const FilePath& path) override {
    auto reader = ForwardingFileSystem::openForReading(path);
    if (!reader) return reader;
    return std::make_unique<HookedReader>(*std::move(reader), [this] { onDataCall(); });
  }
  Result<void> rename(const FilePath& work, const FilePath& target, const FileStatus& expected,
                      const LockableFile& held) override {
    onDataCall();
    const std::lock_guard lock(mutex_);
    return ForwardingFileSystem::rename(work, target, expected, held);
  }
  Result<void> unlink(const FilePath& path) override {
    const std::lock_guard lock(mutex_);
    return ForwardingFileSystem::unlink(path);
  }

  MemoryFileSystem memory;
  std::map<FilePath, ErrorNumber> unreadable;  // folders that cannot be opened
  std::map<FilePath, std::uint64_t> devices;   // of folders that lie on another file system than the rest

 private:
  class Reader final : public DirectoryReader {
   public:
    Reader(std::vector<DirectoryEntry> entries, std::uint64_t device) : entries_(std::move(entries)), device_(device) {}
    [[nodiscard]] std::uint64_t device() const override { return device_; }
    Result<std::optional<DirectoryEntry>> next() override {
      if (position_ == entries_.size()) return std::nullopt;
      return entries_[position_++];
    }

   private:
    std::vector<DirectoryEntry> entries_;
    std::uint64_t device_;
    std::size_t position_ = 0;
  };
  class HookedReader final : public FileReader {
   public:
    HookedReader(std::unique_ptr<FileReader> inner, std::function<void()> hook)
        : inner_(std::move(inner)), hook_(std::move(hook)) {}
    Result<std::size_t> read(std::span<std::uint8_t> destination) override {
      hook_();
      return inner_->read(destination);
    }

   private:
    std::unique_ptr<FileReader> inner_;
    std::function<void()> hook_;
  };

  std::mutex mutex_;  // guards the set of files in `memory`: the walk looks at it while the one worker changes it
  std::map<FilePath, std::vector<DirectoryEntry>> folders_;
};

// Runs the command line in memory.
class CommandLineTest : public testing::Test {
 protected:
  using Json = nlohmann::ordered_json;

  // The tree in memory serves one worker: compress and decompress need --jobs 1.
  int run(std::vector<std::string> arguments) { return run(std::move(arguments), tree); }
  int run(std::vector<std::string> arguments, FileSystem& fileSystem) {
    out.str({});
    err.str({});
    Io io{.out = out,
          .err = err,
          .outIsTerminal = isTerminal,
          .errIsTerminal = isTerminal,
          .width = 80,
          .fileSystem = fileSystem,
          .openDirectory = openDirectory,
          .volumes = volumes,
          .now = [this] { return now += std::chrono::milliseconds(250); },
          .stop = stop.get_token(),
          .stopSignal = stopSignal};
    return CommandLine::run(arguments, io);
  }

  // Standard output, one object a line.
  [[nodiscard]] std::vector<Json> objects() const {
    std::vector<Json> objects;
    std::istringstream lines(out.str());
    for (std::string line; std::getline(lines, line);) objects.push_back(Json::parse(line));
    return objects;
  }
  [[nodiscard]] static std::vector<std::string> keys(const Json& object) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : object.items()) keys.push_back(key);
    return keys;
  }
  void stopWith(int signal) {
    stopSignal = signal;
    stop.request_stop();
  }

  MemoryTree tree;
  OpenDirectory openDirectory = [this](const FilePath& path) { return tree.open(path); };
  VolumeOperations volumes;
  bool isTerminal = false;
  std::ostringstream out;
  std::ostringstream err;
  SteadyTime now{};
  std::stop_source stop;
  std::atomic<int> stopSignal = 0;
};

}  // namespace quillbrook
