// SPDX-License-Identifier: MIT
#include "Volume/Expansion/FolderWalk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/FolderListing.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook {
namespace {

constexpr int openFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;

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
    auto folder = SystemCall::openAt(parent, name.c_str(), openFlags);
    if (!folder) {
      tell(path, folder.error());
      return;
    }
    const auto found = SystemCall::status(folder->get());
    if (!found) {
      tell(path, found.error());
      return;
    }
    const struct stat& status = *found;
    if (!levels_.empty() && status.st_dev != levels_.front().device) return;
    if (levels_.size() >= openLevelCount) levels_[levels_.size() - openLevelCount].folder.reset();
    levels_.push_back(
        {.folder = std::move(*folder), .device = status.st_dev, .inode = status.st_ino, .path = path, .folders = {}});
    list(levels_.back(), levels_.size() == 1);
  }

  void ascend() {
    const FileDescriptor below = std::move(levels_.back().folder);
    levels_.pop_back();
    if (levels_.empty() || levels_.back().folder.isOpen()) return;
    Level& level = levels_.back();
    auto folder = SystemCall::openAt(below.get(), "..", openFlags);
    const auto status = folder ? SystemCall::status(folder->get()) : std::unexpected(folder.error());
    if (status && status->st_dev == level.device && status->st_ino == level.inode) {
      level.folder = std::move(*folder);
      return;
    }
    // Somebody moved the folder below away, or it cannot be left: what is left further up cannot be reached from here.
    for (; !levels_.empty(); levels_.pop_back()) {
      if (!levels_.back().folders.empty()) visitor_.onUnreadable(levels_.back().path, ErrorNumber::stale);
    }
  }

  void list(Level& level, bool isRoot) {
    auto listing = FolderListing::open(level.folder.get());
    if (!listing) {
      tell(level.path, listing.error());
      return;
    }
    while (!stop_.stop_requested()) {
      const auto entry = listing->next();
      if (!entry) {
        tell(level.path, entry.error());
        return;
      }
      if (!*entry) return;
      if (!VolumeProtocol::isPrivate(isRoot, (*entry)->name)) visit(level, **entry);
    }
  }

  void visit(Level& level, const FolderListing::Entry& entry) {
    if (entry.type == DT_DIR) {
      level.folders.emplace_back(entry.name);
      return;
    }
    if (entry.type != DT_REG && entry.type != DT_UNKNOWN) return;
    struct stat status{};
    const FilePath path = level.path.appending(entry.name);
    if (::fstatat(level.folder.get(), entry.name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
      tell(path, ErrorNumber{errno});
      return;
    }
    if (S_ISDIR(status.st_mode)) {
      level.folders.emplace_back(entry.name);
    } else if (S_ISREG(status.st_mode) && status.st_dev == level.device) {
      visitor_.onFile({.folder = level.folder.get(), .name = entry.name, .path = path, .status = status});
    }
  }

  // Gone, or a file or link by now: nothing is hidden from anybody.
  void tell(const FilePath& path, ErrorNumber reason) const {
    if (reason.value != ENOENT && reason.value != ENOTDIR && reason.value != ELOOP) visitor_.onUnreadable(path, reason);
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
