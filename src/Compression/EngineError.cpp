// SPDX-License-Identifier: MIT
#include "Compression/EngineError.h"

#include <type_traits>

namespace quillbrook {
namespace {

std::string_view headerCaseName(const DecmpfsHeaderError& error) {
  struct {
    std::string_view operator()(const InsufficientHeaderBytes&) const { return "insufficientBytes"; }
    std::string_view operator()(const InvalidMagic&) const { return "invalidMagic"; }
    std::string_view operator()(const UnknownCompressionType&) const { return "unknownCompressionType"; }
  } const name;
  return std::visit(name, error);
}

}  // namespace

std::string_view caseName(const EngineError& error) {
  return std::visit(
      [](const auto& e) {
        if constexpr (std::is_same_v<decltype(e), const DecmpfsHeaderError&>)
          return headerCaseName(e);
        else
          return caseName(e);
      },
      error);
}

std::string describe(const EngineError& error) {
  return std::visit([](const auto& e) { return describe(e); }, error);
}

}  // namespace quillbrook
