// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "Compression/Header/CompressionType.h"

namespace quillbrook {

// The built value, header included, is longer than an attribute may be.
struct PayloadTooLarge {
  std::int64_t payloadBytes = 0;
  std::int64_t maxBytes = 0;
  friend bool operator==(const PayloadTooLarge&, const PayloadTooLarge&) = default;
};
// The header's type has no inline decoder.
struct UnsupportedCompressionType {
  CompressionType type = CompressionType::lzfseAttr;
  friend bool operator==(const UnsupportedCompressionType&, const UnsupportedCompressionType&) = default;
};
// Fewer stored bytes than the header's size promises.
struct TruncatedPayload {
  std::int64_t needed = 0;
  std::int64_t got = 0;
  friend bool operator==(const TruncatedPayload&, const TruncatedPayload&) = default;
};
// Type 9 without its 0xFF byte.
struct MissingUncompressedV2Prefix {
  friend bool operator==(const MissingUncompressedV2Prefix&, const MissingUncompressedV2Prefix&) = default;
};

using DecmpfsInlineError =
    std::variant<PayloadTooLarge, UnsupportedCompressionType, TruncatedPayload, MissingUncompressedV2Prefix>;

// The case's name, as "truncatedPayload".
[[nodiscard]] std::string_view caseName(const DecmpfsInlineError& error);
// The case with its payload, as "truncatedPayload(needed: 10, got: 9)".
[[nodiscard]] std::string describe(const DecmpfsInlineError& error);

}  // namespace quillbrook
