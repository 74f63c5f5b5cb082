// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/ErrorNumber.h"
#include "Platform/Linux/InodeNumber.h"

// What this process knows of its work files, from their creation until they are removed or have become somebody's
// file. Any thread.
namespace quillbrook::WorkInProgress {

// Whether the open `file` bears the mark of a work file, whoever made it.
[[nodiscard]] bool isMarked(int file);

// Takes that mark off, as a part of the swap. One that cannot be taken off stays: it is no obstacle.
void unmark(int file);

// The file has just been created, and is open for writing. Keeps it open with a descriptor of its own: the kernel tells
// a failed write-back only to those who had the file open then, and may forget it once nobody has.
void begin(InodeNumber inode, int file);
// The file is gone. Costs no system call.
void end(InodeNumber file);

// The engine goes on without an attribute that found no room; a container that would lose one must not be sealed.
// Returns `outcome`, of setting an attribute of `inode`, and remembers it if that is what it tells.
[[nodiscard]] Result<void> notingWantOfSpace(int inode, const Result<void>& outcome);
[[nodiscard]] bool wantedSpace(InodeNumber file);

// DataSync::waitForData for a work file whose content is complete. Waits once; asked again it gives the same answer,
// since the kernel would tell a failure no more. Any descriptor, also one opened with O_PATH.
[[nodiscard]] Result<void> waitForData(int inode);

}  // namespace quillbrook::WorkInProgress
