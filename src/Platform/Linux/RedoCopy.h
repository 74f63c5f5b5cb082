// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "Container/ContainerState.h"
#include "Platform/ErrorNumber.h"
#include "Platform/Linux/FileDescriptor.h"

// The redo copy that a file's state names. It is looked for in the private folder of `folder` and of each folder above
// it: give the folder that the file lies in, or the volume's source.
//
// Anybody may make such folders, and write such a state into a file of their own, so it must not lead a mightier
// caller to what the file's owner could not read: the private folder, its folder of copies and the copy each belong to
// root, to the caller or to the file's owner, no link is followed, and the copy's record names this inode.
namespace quillbrook::RedoCopy {

// The file that has the state.
struct NamingFile {
  std::uint64_t inode;
  std::uint32_t owner;
};

// Opens it for reading. `inputOutput` if there is none that is a
// regular file of exactly the state's logical size, or if it is not to be trusted.
[[nodiscard]] Result<FileDescriptor> open(int folder, const ContainerState& state, NamingFile file);

// Removes it, once its file is gone. Does nothing where open() would fail.
void remove(int folder, const ContainerState& state, NamingFile file);

}  // namespace quillbrook::RedoCopy
