// SPDX-License-Identifier: MIT
#pragma once

#include "Models/SchemaVersion.h"

// The first schema. What stands here stands in files: it never changes.
namespace quillbrook::SchemaV1 {

inline constexpr SchemaVersion version{1, 0, 0};

// Paths and names are BLOBs, which keep every byte. AUTOINCREMENT: a handle that outlived its row, since another
// process erased that, must not name a new one.
inline constexpr const char* tables = R"(
CREATE TABLE RegisteredItem (
  rowIdentity INTEGER PRIMARY KEY AUTOINCREMENT,
  id BLOB NOT NULL CHECK (length(id) = 16),
  bookmark BLOB NOT NULL,
  kind TEXT NOT NULL,
  includeSubfolders INTEGER NOT NULL,
  registeredAt INTEGER NOT NULL,
  displayName BLOB NOT NULL,
  notes TEXT
) STRICT;
CREATE TABLE FileSnapshot (
  rowIdentity INTEGER PRIMARY KEY AUTOINCREMENT,
  id BLOB NOT NULL CHECK (length(id) = 16),
  registeredItem INTEGER REFERENCES RegisteredItem (rowIdentity) ON DELETE CASCADE,
  relativePath BLOB NOT NULL,
  inode INTEGER NOT NULL,
  logicalSize INTEGER NOT NULL,
  physicalSize INTEGER NOT NULL,
  isCompressed INTEGER NOT NULL,
  algorithm TEXT,
  mtime INTEGER NOT NULL,
  lastObservedAt INTEGER NOT NULL
) STRICT;
CREATE INDEX FileSnapshotOwner ON FileSnapshot (registeredItem);
CREATE TABLE CompressionLog (
  rowIdentity INTEGER PRIMARY KEY AUTOINCREMENT,
  id BLOB NOT NULL CHECK (length(id) = 16),
  executedAt INTEGER NOT NULL,
  operation TEXT NOT NULL,
  targetPath BLOB NOT NULL,
  sizeBefore INTEGER NOT NULL,
  sizeAfter INTEGER NOT NULL,
  algorithm TEXT NOT NULL,
  durationMs INTEGER NOT NULL,
  success INTEGER NOT NULL,
  errorMessage TEXT
) STRICT;
)";

}  // namespace quillbrook::SchemaV1
