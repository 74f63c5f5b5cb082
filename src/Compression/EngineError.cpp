// SPDX-License-Identifier: MIT
#include "Compression/EngineError.h"

namespace quillbrook {

std::string_view caseName(const EngineError& error) {
  return std::visit([](const auto& e) { return caseName(e); }, error);
}

std::string describe(const EngineError& error) {
  return std::visit([](const auto& e) { return describe(e); }, error);
}

}  // namespace quillbrook
