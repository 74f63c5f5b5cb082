// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/ForwardingFileSystem.h"
#include "Platform/Linux/FileFlags.h"
#include "Platform/Linux/SystemCall.h"
#include "Support/Prelude.h"

namespace quillbrook {

// This machine's file system, in which files can be compressed outside of volumes too. Lock and swap work as they do
// there.
class CompressingFileSystem : public ForwardingFileSystem {
 public:
  static CompressingFileSystem& instance() {
    static CompressingFileSystem instance;
    return instance;
  }

  Result<void> chflags(const FilePath& path, std::uint32_t flags) override {
    const auto inode = SystemCall::openAt(AT_FDCWD, path.c_str(), O_PATH);
    if (!inode) return std::unexpected(inode.error());
    return FileFlags::set(inode->get(), flags, true);
  }

 private:
  CompressingFileSystem() : ForwardingFileSystem(FileSystem::native()) {}
};

}  // namespace quillbrook
