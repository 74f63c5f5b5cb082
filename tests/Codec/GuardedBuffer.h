// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace quillbrook {

// Memory between two pages that nobody may touch. The bytes lie directly behind the first guard page or directly in
// front of the last one, so that one step too far in that direction ends the test program.
class GuardedBuffer {
 public:
  enum class Against { start, end };

  GuardedBuffer(std::size_t size, Against against);
  GuardedBuffer(std::span<const std::uint8_t> content, Against against);
  ~GuardedBuffer();
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  [[nodiscard]] std::span<std::uint8_t> bytes() const { return bytes_; }

 private:
  std::span<std::uint8_t> mapping_;
  std::span<std::uint8_t> bytes_;
};

}  // namespace quillbrook
