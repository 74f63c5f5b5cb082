// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <span>

namespace quillbrook {

// What one coder made of one input, or of many together.
struct Figures {
  std::size_t sourceBytes = 0;
  std::size_t streamBytes = 0;
  double encodeSeconds = 0;
  double decodeSeconds = 0;

  // The stream's share of the source: smaller is better.
  [[nodiscard]] double ratio() const { return static_cast<double>(streamBytes) / static_cast<double>(sourceBytes); }
  // In millions of source bytes a second.
  [[nodiscard]] double encodeSpeed() const { return static_cast<double>(sourceBytes) / encodeSeconds / 1e6; }
  [[nodiscard]] double decodeSpeed() const { return static_cast<double>(sourceBytes) / decodeSeconds / 1e6; }

  Figures& operator+=(const Figures& other) {
    sourceBytes += other.sourceBytes;
    streamBytes += other.streamBytes;
    encodeSeconds += other.encodeSeconds;
    decodeSeconds += other.decodeSeconds;
    return *this;
  }
};

[[nodiscard]] inline Figures sumOf(std::span<const Figures> all) {
  Figures sum;
  for (const Figures& figures : all) sum += figures;
  return sum;
}

}  // namespace quillbrook
