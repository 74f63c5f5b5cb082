// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include "Platform/Linux/FileDescriptor.h"
#include "Volume/Daemon/InodeDescriptor.h"
#include "Volume/Daemon/Reading.h"

namespace quillbrook {

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
  // Somebody who is neither root nor the owner writes past the daemon: set-id bits may not come back meanwhile.
  bool hasForeignWriter = false;
  // While passthroughCount is not 0: what the kernel serves the file from, and its number for it.
  SharedDescriptor backing;
  std::int32_t backingIdentifier = 0;

  [[nodiscard]] std::uint64_t handleCount() const { return cachedCount + passthroughCount + directCount; }
  // Any descriptor of the inode itself, once there is a writer or a reader's content.
  [[nodiscard]] int descriptor() const { return writing.isOpen() ? writing.get() : reading->file().descriptor(); }
};

}  // namespace quillbrook
