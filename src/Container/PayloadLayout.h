// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

#include "Container/ContainerPayload.h"
#include "Container/ContainerState.h"

namespace quillbrook {

// Where in a container each logical block is stored, and how: one description for every type that can be read.
struct PayloadLayout {
  enum class Coding : std::uint8_t {
    zeros,         // no chunks
    stored,        // the bytes as they stand
    markedStored,  // a byte 0xFF, then the bytes
    bytePrefixed,  // any one byte, then the bytes
    zlib,          // RFC 1950, or stored behind a byte whose low four bits are all set
    lzvn,          // bare opcodes, or stored behind a byte 0x06
    lzfse,         // one stream
  };
  struct Chunk {
    std::uint32_t offset = 0;  // from `base` on
    std::uint32_t byteCount = 0;
  };

  Coding coding = Coding::zeros;
  std::uint64_t blockByteCount = 0;  // logical; only the last block may be shorter. An inline payload is one block
  std::uint64_t base = 0;            // in the payload
  std::vector<Chunk> chunks;         // one a block

  // Reads header and tables. `notSupported` for types that nobody here can decode; `inputOutput` for whatever
  // contradicts itself: no wrong size, no chunk outside the payload, no table beyond what the size asks for.
  [[nodiscard]] static Result<PayloadLayout> read(const ContainerPayload& payload, const ContainerState& state);
};

}  // namespace quillbrook
