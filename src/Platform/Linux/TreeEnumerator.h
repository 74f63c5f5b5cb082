// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <array>
#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Platform/DirectoryEnumerator.h"
#include "Platform/Linux/EntryNames.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/ReachableVolume.h"

namespace quillbrook {

// The walk, on descriptors alone: what is swapped for a link meanwhile leads nowhere else. In a mounted volume that
// this process may reach beneath, it goes beneath. Keeps at most 64 descriptors.
class TreeEnumerator final : public DirectoryEnumerator {
 public:
  // As seen by programs: DirectoryEnumerator::open().
  [[nodiscard]] static Result<std::unique_ptr<TreeEnumerator>> open(const FilePath& root, Depth depth);
  // Everything in the open folder `root`, which stays the caller's, as it lies on its own file system: a volume's
  // source, whose private folder is left out, or a part of one. `path` is what the person calls it.
  [[nodiscard]] static Result<std::unique_ptr<TreeEnumerator>> openBeneath(int root, const FilePath& path);

  std::optional<Entry> next() override;
  Result<FileStatus> status() override;
  void skipDescendants() override { isSkipping_ = true; }
  std::optional<Omission> takeOmission() override;

  // Where the entry lies that next() gave last: valid until the next call.
  [[nodiscard]] int folder() const { return levels_.back().folder.get(); }
  [[nodiscard]] const char* name() const { return current_.name; }
  // Of that entry itself, as the host shows it.
  [[nodiscard]] Result<struct stat> hostStatus() const;

 private:
  struct Level {
    Level(FileDescriptor opened, const struct stat& status)
        : folder(std::move(opened)), device(status.st_dev), inode(status.st_ino) {}

    FileDescriptor folder;  // not open: given back, found again through ".."
    dev_t device;
    ino_t inode;
    // Lies in a volume that this process may not reach beneath: nobody can tell a compressed file there.
    bool isOpaque = false;
    std::shared_ptr<const ReachableVolume> volume;  // the one of ours that it lies in; null outside
    FilePath mounted;              // where it is in that volume, absolute; only if something is mounted inside
    std::size_t prefixLength = 0;  // of the folder's path with a "/" at its end
    EntryNames names;
  };

  TreeEnumerator(const FilePath& root, Depth depth, bool entersVolumes);

  // What a folder on a mount of its own leads to: beneath, if that is a volume.
  [[nodiscard]] static Level levelOn(FileDescriptor folder, const struct stat& status);
  void descend();
  void enter(Level level);
  void ascend();
  [[nodiscard]] bool isPrivate(const Level& level, const char* name) const;
  [[nodiscard]] static bool isMountedOver(const Level& level, const char* name);
  [[nodiscard]] static std::optional<FileKind> kindOf(const Level& level, const EntryNames::Entry& entry);
  [[nodiscard]] FilePath pathOf(const Level& level) const;
  void omit(FilePath folder, std::optional<ErrorNumber> error);

  const Depth depth_;
  const bool entersVolumes_;
  std::string path_;  // begins with that of the folder that the walk is in, with a "/" at its end
  std::vector<Level> levels_;
  EntryNames::Entry current_{.name = "", .type = 0};
  bool isFolder_ = false;    // the entry that next() gave last
  bool isSkipping_ = false;  // what lies in it
  std::deque<Omission> omissions_;
  std::array<std::byte, 32'768> buffer_{};
};

}  // namespace quillbrook
