// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace quillbrook {

// Input of 2^31 bytes or more.
struct DataExceedsMaximum {
  std::int64_t payloadBytes = 0;
  std::int64_t maxBytes = 0;
  friend bool operator==(const DataExceedsMaximum&, const DataExceedsMaximum&) = default;
};
// The offset table's first entry is wrong.
struct InvalidForkHeader {
  std::string reason;
  friend bool operator==(const InvalidForkHeader&, const InvalidForkHeader&) = default;
};
// The decoded total differs from the file's logical length.
struct SizeMismatch {
  std::int64_t expected = 0;
  std::int64_t got = 0;
  friend bool operator==(const SizeMismatch&, const SizeMismatch&) = default;
};
// The fork is shorter than its table, or an entry points outside the fork or backward.
struct ForkTruncated {
  friend bool operator==(const ForkTruncated&, const ForkTruncated&) = default;
};

using ResourceForkError = std::variant<DataExceedsMaximum, InvalidForkHeader, SizeMismatch, ForkTruncated>;

// The case's name, as "truncated".
[[nodiscard]] std::string_view caseName(const ResourceForkError& error);
// The case with its payload, as "sizeMismatch(expected: 65536, got: 12)".
[[nodiscard]] std::string describe(const ResourceForkError& error);

}  // namespace quillbrook
