// SPDX-License-Identifier: MIT
#pragma once

#include "Models/SchemaVersion.h"

// The second schema: the first and one more table. What stands here stands in files: it never changes.
namespace quillbrook::SchemaV2 {

inline constexpr SchemaVersion version{2, 0, 0};

inline constexpr const char* addedTables = R"(
CREATE TABLE IncompressibleFile (
  rowIdentity INTEGER PRIMARY KEY AUTOINCREMENT,
  targetPath BLOB NOT NULL UNIQUE,
  recordedAt INTEGER NOT NULL,
  sizeAtRecord INTEGER NOT NULL
) STRICT;
)";

}  // namespace quillbrook::SchemaV2
