// SPDX-License-Identifier: MIT
#pragma once

#include <compare>
#include <cstdint>
#include <string>

namespace quillbrook {

// The version of the store's tables, as "2.0.0".
struct SchemaVersion {
  int major = 0;
  int minor = 0;
  int patch = 0;

  // How it stands in the file, as PRAGMA user_version: 20000. Minor and patch are below 100.
  [[nodiscard]] constexpr std::int64_t number() const { return (std::int64_t{major} * 100 + minor) * 100 + patch; }
  [[nodiscard]] static SchemaVersion ofNumber(std::int64_t number);
  [[nodiscard]] std::string text() const;

  friend auto operator<=>(const SchemaVersion&, const SchemaVersion&) = default;
};

}  // namespace quillbrook
