// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "Codec/Compression.h"

// Any bytes as content. The first byte says how often the rest is repeated, so that a small input reaches the limits of
// a block.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quillbrook;
  if (size == 0) return 0;
  std::vector<std::uint8_t> content;
  for (unsigned i = 0; i <= data[0] && content.size() < 100'000; ++i) {
    content.insert(content.end(), data + 1, data + size);
    if (!content.empty()) content.back() = static_cast<std::uint8_t>(content.back() + i);
  }
  std::vector<std::uint8_t> stream(content.size() + 64);
  const std::size_t length = compression_encode_buffer(stream, content, {}, COMPRESSION_LZFSE);
  if (length == 0) std::abort();
  stream.resize(length);
  stream.shrink_to_fit();
  std::vector<std::uint8_t> decoded(content.size());
  if (compression_decode_buffer(decoded, stream, {}, COMPRESSION_LZFSE) != content.size()) std::abort();
  if (decoded != content) std::abort();
  std::vector<std::uint8_t> tooSmall(length - 1);
  if (compression_encode_buffer(tooSmall, content, {}, COMPRESSION_LZFSE) != 0) std::abort();
  return 0;
}
