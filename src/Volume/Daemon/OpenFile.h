// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "Platform/Linux/BackingFile.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Volume/Daemon/InodeDescriptor.h"
#include "Volume/Daemon/ThreadSafety.h"

namespace quillbrook {

// Enough to tell whether pages that the kernel cached earlier still show the content.
struct ContentVersion {
  ino_t inode = 0;
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
  std::uint64_t byteCount = 0;  // logical
  friend bool operator==(const ContentVersion&, const ContentVersion&) = default;
};

// How the kernel serves a handle. While a file has `passthrough` handles the kernel refuses every other mode; `direct`
// ones, for those who only lock the file, go with `cached` ones.
enum class HandleMode : std::uint8_t { cached, passthrough, direct };

// One open handle, as the kernel holds it.
struct Handle {
  bool isWriter = false;
  bool isAppending = false;
  HandleMode mode = HandleMode::cached;
};

// What readers of one file share: its content, and scratch space for decoding.
class Reading {
 public:
  explicit Reading(std::unique_ptr<const BackingFile> file) : file_(std::move(file)) {}

  [[nodiscard]] const BackingFile& file() const { return *file_; }
  [[nodiscard]] Result<std::size_t> read(std::uint64_t offset, std::span<std::uint8_t> destination);

 private:
  std::unique_ptr<const BackingFile> file_;
  Mutex mutex_;
  std::vector<ContainerReader::Scratch> idle_ GUARDED_BY(mutex_);
};

// One file while handles are open on it.
struct OpenFile {
  // Made when a reader comes whom the kernel does not serve by itself; gone when the form changes, until it is needed
  // again.
  std::unique_ptr<Reading> reading;
  FileDescriptor writing;  // O_WRONLY, made when the first writer comes
  std::uint64_t writerCount = 0;
  std::uint64_t cachedCount = 0;
  std::uint64_t passthroughCount = 0;
  std::uint64_t directCount = 0;
  // While passthroughCount is not 0: what the kernel serves the file from, and its number for it.
  SharedDescriptor backing;
  std::int32_t backingIdentifier = 0;

  [[nodiscard]] std::uint64_t handleCount() const { return cachedCount + passthroughCount + directCount; }
  // Any descriptor of the inode itself, once there is a writer or a reader's content.
  [[nodiscard]] int descriptor() const { return writing.isOpen() ? writing.get() : reading->file().descriptor(); }
};

}  // namespace quillbrook
