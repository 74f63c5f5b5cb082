// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "Platform/FileStatus.h"
#include "Platform/FileSystem.h"
#include "Platform/Linux/InodeNumber.h"
#include "Platform/Linux/VolumePath.h"

namespace quillbrook::ReplacingRename {

// FileSystem::rename. Waits for the work file's data first. In a mounted volume the daemon puts it in place; elsewhere
// the two names are exchanged, and exchanged back if what came out is not the file that was locked. `inputOutput` for
// a target whose state is damaged or that has bytes behind its container, since they would be lost; `busy` if the work
// file is not `made`, where that is given; `stale` if anything of the file has changed since its lock was asked for.
// Answers what stands at the target now.
//
// On file systems without an exchange it looks just before and then renames: a program that replaces the target
// between the two loses its version to ours. There is no better order of calls there.
[[nodiscard]] Result<InodeNumber> replace(const VolumePath& work, const VolumePath& target, const FileStatus& expected,
                                          const LockableFile& lock, std::optional<InodeNumber> made);

}  // namespace quillbrook::ReplacingRename
