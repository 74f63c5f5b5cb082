// SPDX-License-Identifier: MIT
#include "Discovery/ExtensionPreset.h"

#include <array>
#include <string_view>

namespace quillbrook {
namespace {

using namespace std::string_view_literals;

// A user's choice, not a judgement: these stay as they are when the categories change.
constexpr std::array text{"txt"sv, "md"sv, "json"sv, "xml"sv, "csv"sv, "log"sv, "html"sv, "svg"sv};
constexpr std::array sourceCode{"swift"sv, "py"sv, "js"sv, "ts"sv, "c"sv, "h"sv, "go"sv, "rs"sv};
constexpr std::array binary{"dylib"sv, "framework"sv, "app"sv};

}  // namespace

std::optional<ExtensionFilter> filterOf(ExtensionPreset preset) {
  switch (preset) {
    case ExtensionPreset::all: break;
    case ExtensionPreset::text: return ExtensionFilter::includeOnly(text);
    case ExtensionPreset::sourceCode: return ExtensionFilter::includeOnly(sourceCode);
    case ExtensionPreset::binary: return ExtensionFilter::includeOnly(binary);
  }
  return std::nullopt;
}

}  // namespace quillbrook
