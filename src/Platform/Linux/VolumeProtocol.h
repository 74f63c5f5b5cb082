// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <linux/ioctl.h>

#include <array>
#include <cstdint>
#include <string_view>

// What the file layer and the volume daemon say to each other through a mount: one attribute and one request.
namespace quillbrook::VolumeProtocol {

// The file system's type in the mount table.
inline constexpr std::string_view mountType = "fuse.quillbrook";

// Attribute of the mount's root folder, answered by the daemon and listed nowhere: the path under which the source
// folder can be opened beneath the mount, "/proc/<pid>/fd/<n>".
inline constexpr std::string_view sourceAttribute = "user.quillbrook.source";

// Second attribute of the root: whether the volume is mounted over its own source. UF_COMPRESSED can be set only there.
inline constexpr std::string_view placementAttribute = "user.quillbrook.placement";
inline constexpr std::string_view placedInPlace = "in-place";
inline constexpr std::string_view placedElsewhere = "elsewhere";

// The folder in the source that holds redo copies and the daemon's lock; the mount hides it.
inline constexpr std::string_view privateFolder = ".quillbrook-volume";
// Whether the entry `name` of a folder is the volume's own, which nobody else is shown: only at the root of a volume.
// Further down it is an ordinary folder of that name.
[[nodiscard]] constexpr bool isPrivate(bool isInRoot, std::string_view name) {
  return isInRoot && name == privateFolder;
}
// Redo copy N (decimal) is privateFolder/redo/N.
inline constexpr std::string_view redoFolder = "redo";
// The daemon holds an exclusive flock on privateFolder/lock for as long as it serves the source.
inline constexpr std::string_view lockFile = "lock";

// A file opened for reading with all of these is opened for the sake of its lock: nothing is read through it. Answers
// EWOULDBLOCK while the kernel serves the file past the daemon, since it cannot be replaced then.
inline constexpr int lockOpenFlags = O_NONBLOCK | O_SYNC;

// ioctl on an open folder of the mount: put `work` in the place of `target`, both names in that folder. Answers EBUSY
// if a handle is open for writing on the target or the target is not the file described here, ESTALE if more than its
// content has changed, else as renameat2.
struct ReplaceRequest {
  std::uint64_t device;  // of the target's backing inode
  std::uint64_t inode;
  std::uint64_t workInode;  // of what stands at `work`
  std::int64_t logicalSize;
  std::int64_t modificationSeconds;
  std::int64_t changeSeconds;
  std::uint32_t modificationNanoseconds;
  std::uint32_t changeNanoseconds;
  std::array<char, 256> work;  // names, zero-terminated
  std::array<char, 256> target;
};
static_assert(sizeof(ReplaceRequest) == 568);

inline constexpr unsigned long replaceCommand = _IOW('Q', 1, ReplaceRequest);

}  // namespace quillbrook::VolumeProtocol
