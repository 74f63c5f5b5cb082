// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <cstdint>

#include "Platform/ErrorNumber.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/InodeNumber.h"
#include "Platform/Linux/VolumePath.h"

namespace quillbrook {

// A work file at its birth: empty, open for writing.
struct NewWorkFile {
  FileDescriptor file;
  InodeNumber inode;

  // Makes it at `place`, with these flags of the host. Where the host can, it has its mark and the room for its state
  // before it has its name: no program meets one that it could take for somebody's file. `exists` if the name is taken,
  // else as of openat(2) and fstat(2); then there is no file.
  [[nodiscard]] static Result<NewWorkFile> create(const VolumePath& place, mode_t mode, std::uint32_t hostFlags);
};

}  // namespace quillbrook
