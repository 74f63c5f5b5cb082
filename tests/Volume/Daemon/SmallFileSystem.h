// SPDX-License-Identifier: MIT
#pragma once

#include <sys/mount.h>

#include "Support/Prelude.h"

namespace quillbrook {

// A file system of its own over a folder, where one can be mounted: its free space tells of nothing else.
class SmallFileSystem {
 public:
  SmallFileSystem(std::string path, const char* options)
      : path_(std::move(path)), isMounted_(mount("tmpfs", path_.c_str(), "tmpfs", 0, options) == 0) {}
  ~SmallFileSystem() {
    if (isMounted_) umount2(path_.c_str(), MNT_DETACH);
  }
  SmallFileSystem(const SmallFileSystem&) = delete;
  SmallFileSystem& operator=(const SmallFileSystem&) = delete;
  SmallFileSystem(SmallFileSystem&&) = delete;
  SmallFileSystem& operator=(SmallFileSystem&&) = delete;

  [[nodiscard]] std::optional<std::string> obstacle() const {
    if (!isMounted_) return "no tmpfs can be mounted here";
    if (setxattr(path_.c_str(), "user.x", "x", 1, 0) != 0) return "this tmpfs keeps no attributes";
    return std::nullopt;
  }

 private:
  std::string path_;
  bool isMounted_ = false;
};

}  // namespace quillbrook
