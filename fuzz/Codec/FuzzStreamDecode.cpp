// SPDX-License-Identifier: MIT
#include "Codec/Compression.h"
#include "DecodeTwice.h"

// Any bytes as a stream.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  decodeTwice({data, size}, [](std::span<std::uint8_t> destination, std::span<const std::uint8_t> source) {
    return quillbrook::compression_decode_buffer(destination, source, {}, quillbrook::COMPRESSION_LZFSE);
  });
  return 0;
}
