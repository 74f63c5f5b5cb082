// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace quillbrook {

// The decoder did not return the expected length.
struct DecodeFailed {
  std::int64_t expectedBytes = 0;
  std::int64_t gotBytes = 0;
  friend bool operator==(const DecodeFailed&, const DecodeFailed&) = default;
};
// The encoder returned nothing.
struct EncodeFailed {
  friend bool operator==(const EncodeFailed&, const EncodeFailed&) = default;
};

using LZFSEError = std::variant<DecodeFailed, EncodeFailed>;

// The case's name, as "encodeFailed".
[[nodiscard]] std::string_view caseName(const LZFSEError& error);
// The case with its payload, as "decodeFailed(expectedBytes: 65536, gotBytes: 12)".
[[nodiscard]] std::string describe(const LZFSEError& error);

}  // namespace quillbrook
