// SPDX-License-Identifier: MIT
#include "Compression/LZFSEError.h"

namespace quillbrook {

std::string_view caseName(const LZFSEError& error) {
  struct {
    std::string_view operator()(const DecodeFailed&) const { return "decodeFailed"; }
    std::string_view operator()(const EncodeFailed&) const { return "encodeFailed"; }
  } const name;
  return std::visit(name, error);
}

std::string describe(const LZFSEError& error) {
  std::string text(caseName(error));
  if (const auto* failure = std::get_if<DecodeFailed>(&error)) {
    text += "(expectedBytes: " + std::to_string(failure->expectedBytes) +
            ", gotBytes: " + std::to_string(failure->gotBytes) + ")";
  }
  return text;
}

}  // namespace quillbrook
