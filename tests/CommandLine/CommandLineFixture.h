// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json.hpp>
#include <stop_token>

#include "CommandLine/CommandLine.h"
#include "Support/CompressingFileSystem.h"
#include "Support/ScratchFolder.h"

namespace quillbrook {

// A walk that leaves out what lies in folders of certain names, and tells why.
class OmittingWalk final : public DirectoryEnumerator {
 public:
  using Reasons = std::map<std::string, std::optional<ErrorNumber>>;

  static OpenEnumerator opener(const Reasons& reasons) {
    return [reasons](const FilePath& root, Depth depth) -> Result<std::unique_ptr<DirectoryEnumerator>> {
      auto inner = DirectoryEnumerator::open(root, depth);
      if (!inner) return inner;
      return std::make_unique<OmittingWalk>(*std::move(inner), reasons);
    };
  }
  OmittingWalk(std::unique_ptr<DirectoryEnumerator> inner, Reasons reasons)
      : inner_(std::move(inner)), reasons_(std::move(reasons)) {}

  std::optional<Entry> next() override {
    auto entry = inner_->next();
    const auto reason = entry ? reasons_.find(std::string(entry->path.name())) : reasons_.end();
    if (reason == reasons_.end()) return entry;
    inner_->skipDescendants();
    omissions_.push_back({.folder = entry->path, .error = reason->second});
    return entry;
  }
  Result<FileStatus> status() override { return inner_->status(); }
  void skipDescendants() override { inner_->skipDescendants(); }
  std::optional<Omission> takeOmission() override {
    if (omissions_.empty()) return inner_->takeOmission();
    auto omission = std::move(omissions_.back());
    omissions_.pop_back();
    return omission;
  }

 private:
  std::unique_ptr<DirectoryEnumerator> inner_;
  Reasons reasons_;
  std::vector<Omission> omissions_;
};

// Runs the command line within the test, over a folder in which files can be compressed.
class CommandLineTest : public testing::Test {
 protected:
  using Json = nlohmann::ordered_json;
  using Strings = std::vector<std::string>;

  int run(Strings arguments, FileSystem& fileSystem = CompressingFileSystem::instance()) {
    out.str({});
    err.str({});
    Io io{.out = out,
          .err = err,
          .outIsTerminal = isTerminal,
          .errIsTerminal = isTerminal,
          .readLine = readLine,
          .width = 80,
          .fileSystem = fileSystem,
          .openEnumerator = openEnumerator,
          .volumes = volumes,
          .schedule = schedule,
          .openStore = openStore,
          .defaults = defaults,
          .home = tree.path("home"),
          .currentTime = [] { return Timestamp{.seconds = 1'700'000'000, .nanoseconds = 123'456'789}; },
          .now = [this] { return now += std::chrono::milliseconds(250); },
          .stop = stop.get_token(),
          .stopSignal = stopSignal};
    return CommandLine::run(arguments, io);
  }

  [[nodiscard]] std::string at(std::string_view name) const { return tree.path(name).bytes(); }
  // Standard output, one object a line.
  [[nodiscard]] std::vector<Json> objects() const {
    std::vector<Json> objects;
    std::istringstream lines(out.str());
    for (std::string line; std::getline(lines, line);) objects.push_back(Json::parse(line));
    return objects;
  }
  // The one that tells of this file; null if there is none.
  [[nodiscard]] Json object(const std::string& name) const {
    for (const Json& object : objects()) {
      if (object.contains("path") && object["path"] == tree.path(name).displayText()) return object;
    }
    return {};
  }
  void stopWith(int signal) {
    stopSignal = signal;
    stop.request_stop();
  }

  ScratchFolder tree;
  ScratchFolder store;
  std::function<std::expected<StoreContainer, ApplicationStoreError>()> openStore = [this] {
    return makeStoreContainer(store.path("store.sqlite"));
  };
  UserDefaults defaults{store.path("defaults.json")};
  std::function<std::optional<std::string>(const std::stop_token&)> readLine;
  OpenEnumerator openEnumerator = DirectoryEnumerator::open;
  VolumeOperations volumes;
  ScheduleOperations schedule;
  bool isTerminal = false;
  std::ostringstream out;
  std::ostringstream err;
  SteadyTime now;
  std::stop_source stop;
  std::atomic<int> stopSignal = 0;
};

}  // namespace quillbrook
