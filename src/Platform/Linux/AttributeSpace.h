// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "Platform/ErrorNumber.h"

namespace quillbrook {

// Which work files of this process could not take an attribute for want of space. The engine goes on without a lost
// attribute; a container that would lose one must not be sealed. Any thread.
namespace AttributeSpace {

// Whether a failed setxattr means that the file has no room for the attribute.
[[nodiscard]] bool isWantOfSpace(ErrorNumber error);

void remember(std::uint64_t device, std::uint64_t inode);
// Whether anything is remembered at all.
[[nodiscard]] bool isEmpty();
[[nodiscard]] bool wasExhausted(std::uint64_t device, std::uint64_t inode);
// The file is new, or gone: inode numbers are used again.
void forget(std::uint64_t device, std::uint64_t inode);

}  // namespace AttributeSpace

}  // namespace quillbrook
