// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "Platform/ErrorNumber.h"

// The attribute calls of FileSystem on one inode, which is any descriptor, also one opened with O_PATH. The value
// com.apple.decmpfs and the fork com.apple.ResourceFork of a container stand in its data; on every other file these
// are attributes like all others.
namespace quillbrook::ExtendedAttributes {

[[nodiscard]] Result<std::size_t> get(int inode, std::string_view name, std::span<std::uint8_t> value,
                                      bool showCompression);
// com.apple.decmpfs on an empty regular file begins a container. `notPermitted` for what is ours or sealed.
[[nodiscard]] Result<void> set(int inode, std::string_view name, std::span<const std::uint8_t> value);
[[nodiscard]] Result<void> remove(int inode, std::string_view name);
[[nodiscard]] Result<std::size_t> list(int inode, std::span<char> names, bool showCompression);

// Gives `destination` the access list of `source`, or none if it has none.
[[nodiscard]] Result<void> copyAccessList(int source, int destination);

}  // namespace quillbrook::ExtendedAttributes
