// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace quillbrook {

// Leaves elements uninitialised where std::allocator would zero them: most buffers here are about to be overwritten
// whole, and filling 16 MiB first costs about as much as hashing a quarter of it.
template <typename T>
struct UninitializedAllocator : std::allocator<T> {
  template <typename U>
  struct rebind {
    using other = UninitializedAllocator<U>;
  };

  template <typename U>
  void construct(U* element) noexcept {
    ::new (static_cast<void*>(element)) U;
  }
  template <typename U, typename... Arguments>
  void construct(U* element, Arguments&&... arguments) {
    std::construct_at(element, std::forward<Arguments>(arguments)...);
  }
};

// A vector of bytes. ByteBuffer(n) and resize(n) leave new bytes undefined; ByteBuffer(n, 0) fills them.
using ByteBuffer = std::vector<std::uint8_t, UninitializedAllocator<std::uint8_t>>;

}  // namespace quillbrook
