// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "Container/ContainerState.h"
#include "Platform/ErrorNumber.h"

// The attribute that holds an inode's state. Only "no such attribute" makes an inode ordinary: a state that is there
// and cannot be read, or is damaged, is `inputOutput`, never "nothing".
namespace quillbrook::StoredState {

// Nothing for an ordinary file without a state. `file` is any descriptor, also one opened with O_PATH.
[[nodiscard]] Result<std::optional<ContainerState>> read(int file);

// The same for what stands at `path`, itself if it is a symbolic link: one system call. Folders with
// /proc/self/fd/<folder>/<name> make it relative.
[[nodiscard]] Result<std::optional<ContainerState>> readAt(const char* path);

// The same for what stands at `name` in a folder, without the way through /proc where the kernel can do so
// (Linux 6.13).
[[nodiscard]] Result<std::optional<ContainerState>> readAt(int folder, const char* name);

// Replaces it. Any descriptor, as above.
[[nodiscard]] Result<void> write(int file, const ContainerState& state);

// Takes it away; no failure if there is none.
[[nodiscard]] Result<void> remove(int file);

}  // namespace quillbrook::StoredState
