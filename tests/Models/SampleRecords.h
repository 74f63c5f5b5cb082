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

inline RegisteredItem item() {
  return {uuid(1),     {0x00, 0xFF, 0x27, 0x01},    "folder",
          true,        date(1'700'000'000'123'457), FilePath("Fotos \xFF\xFE\n'"),
          std::nullopt};
}

inline RegisteredItem itemWithNotes() {
  return {uuid(2), {}, "neither", false, date(-1), FilePath("写真"), ""};
}

inline FileSnapshot snapshot(std::optional<RowHandle<RegisteredItem>> owner) {
  using Limits = std::numeric_limits<std::int64_t>;
  return {uuid(3),
          owner,
          FilePath("a/\x80"
                   "b"),
          Limits::min(),
          Limits::max(),
          4'096,
          true,
          "LZFSE",
          date(1'600'000'000'000'001),
          date(1'600'000'000'000'002)};
}

inline FileSnapshot ownerlessSnapshot() {
  auto record = snapshot(std::nullopt);
  record.isCompressed = false;
  record.algorithm.reset();
  return record;
}

inline IncompressibleFile incompressible(std::string path = "/home/a/\xC3", std::int64_t size = 5'000) {
  return {FilePath(std::move(path)), date(1'700'000'000'000'003), size};
}

inline CompressionLog log(std::int64_t time = 1'700'000'000'000'004) {
  return {uuid(4), date(time), "compress",  FilePath("/home/a/\xE3\x81"), 100'000, 40'000, "LZFSE",
          12,      true,       std::nullopt};
}

inline CompressionLog failedLog() {
  auto record = log();
  record.operation = "decompress";
  record.success = false;
  record.errorMessage = "圧縮できません";
  return record;
}

}  // namespace quillbrook::test
