// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <utility>

#include "Models/StoreError.h"
#include "Platform/FilePath.h"

namespace quillbrook {

class Database;

// A store that has been found sound and of the present version. A plain value; any number of contexts, each in a thread
// of its own, may work over copies of it.
class StoreContainer {
 public:
  [[nodiscard]] const FilePath& path() const { return path_; }

 private:
  friend StoreResult<StoreContainer> makeStoreContainer(const FilePath& path);
  friend class StoreContext;

  explicit StoreContainer(FilePath path) : path_(std::move(path)) {}
  // A connection of its own for each caller.
  [[nodiscard]] StoreResult<std::unique_ptr<Database>> connect() const;

  FilePath path_;
};

// Opens the store at `path`, which need not exist though its folder must: a new one is readable for its owner alone.
// One of an earlier version is migrated. One that is damaged, newer, another program's, or cannot be written is refused
// and left as it is.
[[nodiscard]] StoreResult<StoreContainer> makeStoreContainer(const FilePath& path);

}  // namespace quillbrook
