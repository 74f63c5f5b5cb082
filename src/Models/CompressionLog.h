// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Models/StoreDate.h"
#include "Models/UUID.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// One operation on one file. Refers to no other row, so history outlives what it tells of.
struct CompressionLog {
  UUID id;
  StoreDate executedAt;
  std::string operation;  // "compress" or "decompress"
  FilePath targetPath;    // absolute
  std::int64_t sizeBefore = 0;
  std::int64_t sizeAfter = 0;
  std::string algorithm;
  std::int64_t durationMs = 0;
  bool success = false;
  std::optional<std::string> errorMessage;

  friend bool operator==(const CompressionLog&, const CompressionLog&) = default;
};

}  // namespace quillbrook
