// SPDX-License-Identifier: MIT
#include "Compression/ResourceForkError.h"

namespace quillbrook {

std::string_view caseName(const ResourceForkError& error) {
  struct {
    std::string_view operator()(const DataExceedsMaximum&) const { return "dataExceedsMaximum"; }
    std::string_view operator()(const InvalidForkHeader&) const { return "invalidHeader"; }
    std::string_view operator()(const SizeMismatch&) const { return "sizeMismatch"; }
    std::string_view operator()(const ForkTruncated&) const { return "truncated"; }
  } const name;
  return std::visit(name, error);
}

std::string describe(const ResourceForkError& error) {
  struct {
    std::string operator()(const DataExceedsMaximum& e) const {
      return "(payloadBytes: " + std::to_string(e.payloadBytes) + ", maxBytes: " + std::to_string(e.maxBytes) + ")";
    }
    std::string operator()(const InvalidForkHeader& e) const { return "(reason: " + e.reason + ")"; }
    std::string operator()(const SizeMismatch& e) const {
      return "(expected: " + std::to_string(e.expected) + ", got: " + std::to_string(e.got) + ")";
    }
    std::string operator()(const ForkTruncated&) const { return ""; }
  } const payload;
  return std::string(caseName(error)) + std::visit(payload, error);
}

}  // namespace quillbrook
