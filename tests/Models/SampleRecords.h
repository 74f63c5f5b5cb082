// SPDX-License-Identifier: MIT
#pragma once

#include <limits>

#include "Models/CompressionLog.h"
#include "Models/FileSnapshot.h"
#include "Models/IncompressibleFile.h"
#include "Models/RegisteredItem.h"
#include "Support/Prelude.h"

// Records with what could get lost on the way: bytes that are no UTF-8, zero bytes, absent beside empty values, dates
// before 1970 and with microseconds, numbers of full width. The kept stores hold these.
namespace quillbrook::test {

inline UUID uuid(std::uint8_t first) {
  UUID id;
  for (auto& byte : id.bytes) byte = first++;
  return id;
}

inline StoreDate date(std::int64_t microseconds) {
  return StoreDate(std::chrono::microseconds(microseconds));
}

inline RegisteredItem item(std::uint8_t number = 1) {
  return {.id = uuid(number),
          .bookmark = {0x00, 0xFF, 0x27, number},
          .kind = "folder",
          .includeSubfolders = true,
          .registeredAt = date(1'700'000'000'123'456 + number),
          .displayName = FilePath("Fotos \xFF\xFE\n'"),
          .notes = std::nullopt};
}

inline RegisteredItem itemWithNotes() {
  return {.id = uuid(2),
          .bookmark = {},
          .kind = "neither",
          .includeSubfolders = false,
          .registeredAt = date(-1),
          .displayName = FilePath("写真"),
          .notes = ""};
}

inline FileSnapshot snapshot(std::optional<RowHandle<RegisteredItem>> owner) {
  return {.id = uuid(3),
          .registeredItem = owner,
          .relativePath = FilePath("a/\x80"
                                   "b"),
          .inode = std::numeric_limits<std::int64_t>::min(),
          .logicalSize = std::numeric_limits<std::int64_t>::max(),
          .physicalSize = 4'096,
          .isCompressed = true,
          .algorithm = "LZFSE",
          .mtime = date(1'600'000'000'000'001),
          .lastObservedAt = date(1'600'000'000'000'002)};
}

inline FileSnapshot ownerlessSnapshot() {
  auto record = snapshot(std::nullopt);
  record.isCompressed = false;
  record.algorithm.reset();
  return record;
}

inline IncompressibleFile incompressible(std::string path = "/home/a/\xC3", std::int64_t size = 5'000) {
  return {.targetPath = FilePath(std::move(path)), .recordedAt = date(1'700'000'000'000'003), .sizeAtRecord = size};
}

inline CompressionLog log(std::int64_t time = 1'700'000'000'000'004) {
  return {.id = uuid(4),
          .executedAt = date(time),
          .operation = "compress",
          .targetPath = FilePath("/home/a/\xE3\x81"),
          .sizeBefore = 100'000,
          .sizeAfter = 40'000,
          .algorithm = "LZFSE",
          .durationMs = 12,
          .success = true,
          .errorMessage = std::nullopt};
}

inline CompressionLog failedLog() {
  auto record = log();
  record.operation = "decompress";
  record.success = false;
  record.errorMessage = "圧縮できません";
  return record;
}

}  // namespace quillbrook::test
