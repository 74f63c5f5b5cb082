// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillbrook {

using ByteVector = std::vector<std::uint8_t>;

ByteVector bytesOf(std::string_view text);

// Content with a known nature; the same on every run.
namespace GeneratedContent {

ByteVector random(std::size_t size, unsigned seed = 1);
// Random bytes of only `values` kinds: entropy coding gains, matches do not.
ByteVector randomOf(unsigned values, std::size_t size);
// Words of a small vocabulary, like a text.
ByteVector text(std::size_t size, unsigned seed = 1);
// A random pattern of `period` bytes, over and over.
ByteVector periodic(std::size_t period, std::size_t size);
// Four bytes that occurred before, one that is random, and so on: as many matches as there can be.
ByteVector manyMatches(std::size_t size);
// Random bytes, and all of them once more.
ByteVector twice(std::size_t size);
// Incompressible and empty stretches in turn.
ByteVector alternating(std::size_t stretch, std::size_t size);

}  // namespace GeneratedContent

}  // namespace quillbrook
