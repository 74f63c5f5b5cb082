// SPDX-License-Identifier: MIT
#include <cstdlib>

#include "Codec/Streams.h"

// Any bytes as content. The first byte says how often the rest is repeated, so that a small input reaches the limits of
// a block.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quillbrook;
  if (size == 0) return 0;
  test::Bytes content;
  for (unsigned i = 0; i <= data[0] && content.size() < 100'000; ++i) {
    content.insert(content.end(), data + 1, data + size);
    if (!content.empty()) content.back() = static_cast<std::uint8_t>(content.back() + i);
  }
  const test::Bytes stream = test::encoded(content);
  if (stream.empty() || test::decoded(stream, content.size()) != content) std::abort();
  test::Bytes tooSmall(stream.size() - 1);
  if (compression_encode_buffer(tooSmall, content, {}, COMPRESSION_LZFSE) != 0) std::abort();
  return 0;
}
