// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "Compression/FileCompressionError.h"

namespace quillbrook {

// The flag is set, but the attribute is no valid header.
struct DecmpfsHeaderInvalid {
  std::string reason;
  friend bool operator==(const DecmpfsHeaderInvalid&, const DecmpfsHeaderInvalid&) = default;
};
// The flag is set, but there is no attribute.
struct DecmpfsHeaderMissingDespiteFlag {
  friend bool operator==(const DecmpfsHeaderMissingDespiteFlag&, const DecmpfsHeaderMissingDespiteFlag&) = default;
};

// Why a path could not be inspected.
using FileCompressionInspectionError =
    std::variant<FileNotFound, DecmpfsHeaderInvalid, IOError, DecmpfsHeaderMissingDespiteFlag>;

// The case's name, as "decmpfsHeaderInvalid".
[[nodiscard]] std::string_view caseName(const FileCompressionInspectionError& error);
// The case with its payload, as "fileNotFound(/a/b)".
[[nodiscard]] std::string describe(const FileCompressionInspectionError& error);
// What the user reads.
[[nodiscard]] std::string userText(const FileCompressionInspectionError& error);

}  // namespace quillbrook
