// SPDX-License-Identifier: MIT
#pragma once

#include <dirent.h>

#include <memory>
#include <optional>
#include <utility>

#include "Platform/ErrorNumber.h"

namespace quillbrook {

// The names in an open folder, one by one, in the host's order. Belongs to one thread.
class FolderListing {
 public:
  struct Entry {
    const char* name;    // valid until the next call of next()
    unsigned char type;  // DT_REG, DT_DIR and so on; DT_UNKNOWN where the host does not tell
    ino_t inode;         // as the host lists it
  };

  // The folder `name` in the open folder `folder`, which may be opened with O_PATH, stays the caller's and keeps its
  // position. No link is followed. Errors as of openat(2).
  [[nodiscard]] static Result<FolderListing> open(int folder, const char* name = ".");

  // The next entry but "." and "..", nothing at the end. A failure is never taken for the end.
  [[nodiscard]] Result<std::optional<Entry>> next();

 private:
  struct Close {
    void operator()(DIR* stream) const { ::closedir(stream); }
  };
  using Stream = std::unique_ptr<DIR, Close>;

  explicit FolderListing(Stream stream) : stream_(std::move(stream)) {}

  Stream stream_;
};

}  // namespace quillbrook
