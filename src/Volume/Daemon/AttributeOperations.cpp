// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <linux/limits.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>

#include "Platform/Linux/SystemCall.h"
#include "Volume/Daemon/Content.h"
#include "Volume/Daemon/Handles.h"
#include "Volume/Daemon/InodeLock.h"
#include "Volume/Daemon/Inodes.h"
#include "Volume/Daemon/Operations.h"
#include "Volume/Daemon/Reply.h"

namespace quillbrook::Operations {

namespace {

bool has(int set, int flags) {
  return (set & flags) != 0;
}

timespec timeFor(int set, int given, int now, const timespec& value) {
  if (has(set, now)) return {.tv_sec = 0, .tv_nsec = UTIME_NOW};
  if (has(set, given)) return value;
  return {.tv_sec = 0, .tv_nsec = UTIME_OMIT};
}

// Everything but the size.
Result<void> setOthers(int file, const struct stat& wanted, int set) {
  const std::string path = SystemCall::pathOf(file);
  if (has(set, FUSE_SET_ATTR_UID | FUSE_SET_ATTR_GID)) {
    const uid_t owner = has(set, FUSE_SET_ATTR_UID) ? wanted.st_uid : static_cast<uid_t>(-1);
    const gid_t group = has(set, FUSE_SET_ATTR_GID) ? wanted.st_gid : static_cast<gid_t>(-1);
    if (fchownat(file, "", owner, group, AT_EMPTY_PATH) != 0) return SystemCall::failure();
  }
  if (has(set, FUSE_SET_ATTR_MODE) && chmod(path.c_str(), wanted.st_mode & 07777U) != 0) return SystemCall::failure();
  // Changing the size has set the times already, by the rules for writers rather than for owners.
  if (has(set, FUSE_SET_ATTR_SIZE)) return {};
  const std::array<timespec, 2> times{timeFor(set, FUSE_SET_ATTR_ATIME, FUSE_SET_ATTR_ATIME_NOW, wanted.st_atim),
                                      timeFor(set, FUSE_SET_ATTR_MTIME, FUSE_SET_ATTR_MTIME_NOW, wanted.st_mtim)};
  if (times[0].tv_nsec == UTIME_OMIT && times[1].tv_nsec == UTIME_OMIT) return {};
  // Both at once is what anybody who may write can ask for.
  const bool isTouch = times[0].tv_nsec == UTIME_NOW && times[1].tv_nsec == UTIME_NOW;
  return SystemCall::checked([&] { return utimensat(AT_FDCWD, path.c_str(), isTouch ? nullptr : times.data(), 0); });
}

// With the file's lock shared.
bool hasForeignWriter(const Node& node) QB_NO_THREAD_SAFETY_ANALYSIS {
  return node.open && node.open->hasForeignWriter;
}

}  // namespace

void getattr(fuse_req_t request, fuse_ino_t number, fuse_file_info*) {
  Reply::answer(request, [&](Volume& volume) QB_NO_THREAD_SAFETY_ANALYSIS -> Result<Reply::Attributes> {
    Node& node = volume.node(number);
    const InodeLock lock(node);
    // In this order: what was written past the daemon until now shows in what is read after.
    const bool isTransient = Handles::isWrittenPast(volume, node);
    const auto status = Inodes::attributes(volume, node);
    if (!status) return std::unexpected(status.error());
    return Reply::Attributes{.status = *status, .isTransient = isTransient};
  });
}

void setattr(fuse_req_t request, fuse_ino_t number, struct stat* wanted, int set, fuse_file_info*) {
  Reply::answer(request, [&](Volume& volume) -> Result<Reply::Attributes> {
    Node& node = volume.node(number);
    if (has(set, FUSE_SET_ATTR_SIZE)) {
      const ExclusiveLock lock(node.lock);
      const auto done = Content::truncate(volume, node, wanted->st_size, fuse_req_ctx(request)->uid);
      if (!done) return std::unexpected(done.error());
    }
    const InodeLock lock(node);
    const auto file = Inodes::descriptor(volume, node);
    if (!file) return std::unexpected(file.error());
    // As if the one who writes had done so just after.
    const bool keepsNoSetIdentifiers = S_ISREG(node.kind) && hasForeignWriter(node);
    if (keepsNoSetIdentifiers) wanted->st_mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
    if (const auto done = setOthers((*file)->get(), *wanted, set); !done) return std::unexpected(done.error());
    const auto status = Inodes::attributes(volume, node);
    if (!status) return std::unexpected(status.error());
    return Reply::Attributes{.status = *status, .isTransient = node.isWrittenPastDaemon};
  });
}

void readlink(fuse_req_t request, fuse_ino_t number) {
  std::array<char, PATH_MAX + 1> target{};
  Reply::answer(request, [&](Volume& volume) -> Result<Reply::Text> {
    const auto file = Inodes::descriptor(volume, volume.node(number));
    if (!file) return std::unexpected(file.error());
    if (readlinkat((*file)->get(), "", target.data(), PATH_MAX) < 0) return SystemCall::failure();
    return Reply::Text{target.data()};
  });
}

void statfs(fuse_req_t request, fuse_ino_t) {
  Reply::answer(request, [&](Volume& volume) -> Result<Reply::FileSystemStatus> {
    Reply::FileSystemStatus result{};
    if (fstatvfs(volume.source.descriptor->get(), &result.status) != 0) return SystemCall::failure();
    return result;
  });
}

}  // namespace quillbrook::Operations
