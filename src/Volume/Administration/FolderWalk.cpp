// SPDX-License-Identifier: MIT
#include "Volume/Administration/FolderWalk.h"

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook {
namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// Levels further up than this give their descriptor back and are found again through "..".
constexpr std::size_t openLevelCount = 64;

struct Level {
  FileDescriptor folder;  // not open: given back
  dev_t device = 0;
  ino_t inode = 0;
  FilePath path;
  std::vector<std::string> folders;  // still to visit
};

class Walk {
 public:
  Walk(const FolderWalk::Visitor& visitor, std::stop_token stop) : visitor_(visitor), stop_(std::move(stop)) {}

  bool run(int root, const FilePath& path) {
    descend(root, ".", path);
    while (!levels_.empty() && !stop_.stop_requested()) {
      Level& level = levels_.back();
      if (level.folders.empty()) {
        ascend();
        continue;
      }
      const std::string name = std::move(level.folders.back());
      level.folders.pop_back();
      descend(level.folder.get(), name, level.path.appending(name));
    }
    return !stop_.stop_requested();
  }

 private:
  void descend(int parent, const std::string& name, const FilePath& path) {
    FileDescriptor folder(::openat(parent, name.c_str(), folderFlags));
    struct stat status{};
    if (!folder.isOpen() || ::fstat(folder.get(), &status) != 0) {
      tell(path, errno);
      return;
    }
    if (!levels_.empty() && status.st_dev != levels_.front().device) return;
    if (levels_.size() >= openLevelCount) levels_[levels_.size() - openLevelCount].folder.reset();
    levels_.push_back(
        {.folder = std::move(folder), .device = status.st_dev, .inode = status.st_ino, .path = path, .folders = {}});
    list(levels_.back(), levels_.size() == 1);
  }

  void ascend() {
    const FileDescriptor below = std::move(levels_.back().folder);
    levels_.pop_back();
    if (levels_.empty() || levels_.back().folder.isOpen()) return;
    Level& level = levels_.back();
    level.folder = FileDescriptor(::openat(below.get(), "..", folderFlags));
    struct stat status{};
    if (level.folder.isOpen() && ::fstat(level.folder.get(), &status) == 0 && status.st_dev == level.device &&
        status.st_ino == level.inode) {
      return;
    }
    // Somebody moved the folder below away: what is left further up cannot be reached from here.
    for (; !levels_.empty(); levels_.pop_back()) {
      if (!levels_.back().folders.empty()) visitor_.onUnreadable(levels_.back().path, ErrorNumber{ESTALE});
    }
  }

  void list(Level& level, bool isRoot) {
    struct Close {
      void operator()(DIR* stream) const { ::closedir(stream); }
    };
    // The stream owns a descriptor of its own.
    const int own = ::openat(level.folder.get(), ".", folderFlags);
    const std::unique_ptr<DIR, Close> stream(own < 0 ? nullptr : ::fdopendir(own));
    if (!stream) {
      const int reason = errno;
      FileDescriptor(own).reset();
      return tell(level.path, reason);
    }
    while (!stop_.stop_requested()) {
      errno = 0;
      const dirent* entry = ::readdir(stream.get());
      if (entry == nullptr) {
        if (errno != 0) tell(level.path, errno);
        return;
      }
      const std::string_view name = entry->d_name;
      if (name == "." || name == ".." || (isRoot && name == VolumeProtocol::privateFolder)) continue;
      visit(level, *entry);
    }
  }

  void visit(Level& level, const dirent& entry) {
    if (entry.d_type == DT_DIR) {
      level.folders.emplace_back(entry.d_name);
      return;
    }
    if (entry.d_type != DT_REG && entry.d_type != DT_UNKNOWN) return;
    struct stat status{};
    const FilePath path = level.path.appending(entry.d_name);
    if (::fstatat(level.folder.get(), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return tell(path, errno);
    if (S_ISDIR(status.st_mode)) {
      level.folders.emplace_back(entry.d_name);
    } else if (S_ISREG(status.st_mode) && status.st_dev == level.device) {
      visitor_.onFile({.folder = level.folder.get(), .name = entry.d_name, .path = path, .status = status});
    }
  }

  // Gone, or a file or link by now: nothing is hidden from anybody.
  void tell(const FilePath& path, int reason) const {
    if (reason != ENOENT && reason != ENOTDIR && reason != ELOOP) visitor_.onUnreadable(path, ErrorNumber{reason});
  }

  const FolderWalk::Visitor& visitor_;
  std::stop_token stop_;
  std::vector<Level> levels_;
};

}  // namespace

bool FolderWalk::walk(int root, const FilePath& path, const Visitor& visitor, std::stop_token stop) {
  return Walk(visitor, std::move(stop)).run(root, path);
}

}  // namespace quillbrook
