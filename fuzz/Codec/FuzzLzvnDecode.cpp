// SPDX-License-Identifier: MIT
#include "Codec/Lzvn.h"
#include "DecodeTwice.h"

// Any bytes as bare opcodes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  decodeTwice({data, size}, quillbrook::Lzvn::decode);
  return 0;
}
