// SPDX-License-Identifier: MIT
#include "Compression/DecmpfsInlineError.h"

namespace quillbrook {

std::string_view caseName(const DecmpfsInlineError& error) {
  struct {
    std::string_view operator()(const PayloadTooLarge&) const { return "payloadTooLarge"; }
    std::string_view operator()(const UnsupportedCompressionType&) const { return "unsupportedCompressionType"; }
    std::string_view operator()(const TruncatedPayload&) const { return "truncatedPayload"; }
    std::string_view operator()(const MissingUncompressedV2Prefix&) const { return "missingUncompressedV2Prefix"; }
  } const caseNameOf;
  return std::visit(caseNameOf, error);
}

std::string describe(const DecmpfsInlineError& error) {
  struct {
    std::string operator()(const PayloadTooLarge& e) const {
      return "(payloadBytes: " + std::to_string(e.payloadBytes) + ", maxBytes: " + std::to_string(e.maxBytes) + ")";
    }
    std::string operator()(const UnsupportedCompressionType& e) const { return "(" + std::string(name(e.type)) + ")"; }
    std::string operator()(const TruncatedPayload& e) const {
      return "(needed: " + std::to_string(e.needed) + ", got: " + std::to_string(e.got) + ")";
    }
    std::string operator()(const MissingUncompressedV2Prefix&) const { return ""; }
  } const payload;
  return std::string(caseName(error)) + std::visit(payload, error);
}

}  // namespace quillbrook
