// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

// Decodes an input in two ways that must agree: into a roomy destination, where the decoder copies generously, and into
// one of exactly that many bytes, where it must be careful near the end. The buffers are their own allocations, so that
// the address sanitizer sees the first byte too far. `decode` takes a destination and a source and returns a count.
template <typename Decode>
void decodeTwice(std::span<const std::uint8_t> input, Decode decode) {
  constexpr std::size_t roomy = 1 << 14;
  const std::vector<std::uint8_t> source(input.begin(), input.end());
  std::vector<std::uint8_t> large(roomy);
  const std::size_t count = decode(std::span(large), std::span(source));
  if (count > roomy) std::abort();
  std::vector<std::uint8_t> exact(count);
  if (decode(std::span(exact), std::span(source)) != count) std::abort();
  if (!std::equal(exact.begin(), exact.end(), large.begin())) std::abort();
}
