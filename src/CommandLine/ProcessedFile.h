// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <variant>

#include "Compression/CompressionResult.h"
#include "Compression/EngineError.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// The engine did not do it; the file is as it was.
struct RefusedFile {
  EngineError error;
  bool isAbandoned = false;  // because the command was stopped
};
// The file lies in a folder and is not worth the attempt: nothing was tried.
struct PassedOverFile {};

// What became of one file.
struct ProcessedFile {
  FilePath path;
  std::uint64_t logicalSize = 0;  // bytes, before; 0 where it could not be found out
  std::variant<CompressionResult, RefusedFile, PassedOverFile> ending;
};

}  // namespace quillbrook
