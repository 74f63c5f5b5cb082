// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Models/RowHandle.h"
#include "Models/StoreDate.h"
#include "Models/UUID.h"
#include "Platform/FilePath.h"

namespace quillbrook {

struct RegisteredItem;

// The last observation of one file under a registered folder.
struct FileSnapshot {
  UUID id;
  std::optional<RowHandle<RegisteredItem>>
      registeredItem;     // the owner; without one a snapshot stays until it is erased
  FilePath relativePath;  // below the registered folder
  std::int64_t inode = 0;
  std::int64_t logicalSize = 0;   // bytes as programs read them
  std::int64_t physicalSize = 0;  // bytes on disk
  bool isCompressed = false;
  std::optional<std::string> algorithm;  // the compression type, if it was compressed
  StoreDate mtime;                       // of the content, when observed
  StoreDate lastObservedAt;

  friend bool operator==(const FileSnapshot&, const FileSnapshot&) = default;
};

}  // namespace quillbrook
