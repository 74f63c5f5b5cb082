// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "Compression/DecmpfsInlineError.h"
#include "Compression/FileCompressionError.h"
#include "Compression/Header/DecmpfsHeader.h"
#include "Compression/LZFSEError.h"
#include "Compression/ResourceForkError.h"

namespace quillbrook {

// Everything that can come out of FileCompressor::compress: its own refusals, and what the codecs pass through.
using EngineError =
    std::variant<FileCompressionError, LZFSEError, ResourceForkError, DecmpfsInlineError, DecmpfsHeaderError>;

// A codec's own choice among these as the engine's error, unchanged in content.
template <typename... CodecErrors>
[[nodiscard]] EngineError passedThrough(const std::variant<CodecErrors...>& error) {
  return std::visit([](const auto& e) { return EngineError(e); }, error);
}

// The case's name, as "alreadyCompressed".
[[nodiscard]] std::string_view caseName(const EngineError& error);
// The case with its payload, as "decodeFailed(expectedBytes: 65536, gotBytes: 12)".
[[nodiscard]] std::string describe(const EngineError& error);

}  // namespace quillbrook
