// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Models/StoreDate.h"
#include "Models/UUID.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// One file or folder that the user registered. Its snapshots are the rows of FileSnapshot that name it as their owner;
// they go with it.
struct RegisteredItem {
  UUID id;
  std::vector<std::uint8_t> bookmark;  // opaque; tells where the item is
  std::string kind;                    // "file" or "folder"; the store takes any text
  bool includeSubfolders = false;      // means nothing for a file
  StoreDate registeredAt;
  FilePath displayName;  // the last component of the path at registration
  std::optional<std::string> notes;

  friend bool operator==(const RegisteredItem&, const RegisteredItem&) = default;
};

}  // namespace quillbrook
