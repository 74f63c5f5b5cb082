// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

#include "Platform/Linux/SystemCall.h"
#include "Volume/Daemon/Caller.h"
#include "Volume/Daemon/Handles.h"
#include "Volume/Daemon/InodeLock.h"
#include "Volume/Daemon/Inodes.h"
#include "Volume/Daemon/Names.h"
#include "Volume/Daemon/Operations.h"
#include "Volume/Daemon/Reply.h"

namespace quillbrook::Operations {

namespace {

// Makes `name` by `make(folder's descriptor, caller)`, which returns -1 on failure, as the request's caller.
template <typename Make>
Result<Reply::Entry> makeEntry(Volume& volume, fuse_req_t request, fuse_ino_t parent, const char* name, Make make) {
  Node& folder = volume.node(parent);
  if (Names::isHidden(volume, folder, name)) return std::unexpected(ErrorNumber::notPermitted);
  const auto descriptor = Inodes::descriptor(volume, folder);
  if (!descriptor) return std::unexpected(descriptor.error());
  const ExclusiveLock lock(folder.lock);
  {
    const auto caller = Caller::as(volume, request);
    if (!caller) return std::unexpected(caller.error());
    if (make((*descriptor)->get(), *caller) == -1) return SystemCall::failure();
  }
  return Names::find(volume, folder, (*descriptor)->get(), name);
}

// Whether nobody has put another file under the name underneath since `file` was made there.
bool isOf(Volume& volume, const Node& node, int file) {
  const auto status = SystemCall::status(file);
  return status && volume.nodes.find({.device = status->st_dev, .inode = status->st_ino}).get() == &node;
}

template <typename Make>
void answerEntry(fuse_req_t request, fuse_ino_t parent, const char* name, Make make) {
  Reply::answer(request, [&](Volume& volume) { return makeEntry(volume, request, parent, name, make); });
}

}  // namespace

void create(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t mode, fuse_file_info* file) {
  Reply::answer(request, [&](Volume& volume) -> Result<Reply::Created> {
    FileDescriptor created;
    const auto entry = makeEntry(volume, request, parent, name, [&](int folder, const Caller& caller) {
      const int flags = (file->flags & O_ACCMODE) | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
      created = FileDescriptor(openat(folder, name, flags, caller.mode(mode)));
      // Made underneath since the kernel looked: it looks again, and asks whether the caller may open what is there.
      if (!created.isOpen() && errno == EEXIST && (file->flags & O_EXCL) == 0) errno = ESTALE;
      return created.isOpen() ? 0 : -1;
    });
    if (!entry) return std::unexpected(entry.error());
    if (!isOf(volume, entry->node, created.get())) {
      volume.nodes.forget(entry->node, 1);
      return std::unexpected(ErrorNumber::stale);
    }
    auto opened = Handles::adopt(volume, entry->node, std::move(created), file->flags);
    if (!opened) {
      volume.nodes.forget(entry->node, 1);
      return std::unexpected(opened.error());
    }
    return Reply::Created{.entry = *entry, .opened = *opened};
  });
}

void mknod(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t mode, dev_t device) {
  answerEntry(request, parent, name,
              [&](int folder, const Caller& caller) { return mknodat(folder, name, caller.mode(mode), device); });
}

void mkdir(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t mode) {
  answerEntry(request, parent, name,
              [&](int folder, const Caller& caller) { return mkdirat(folder, name, caller.mode(mode)); });
}

void symlink(fuse_req_t request, const char* target, fuse_ino_t parent, const char* name) {
  answerEntry(request, parent, name, [&](int folder, const Caller&) { return symlinkat(target, folder, name); });
}

void link(fuse_req_t request, fuse_ino_t number, fuse_ino_t parent, const char* name) {
  Reply::answer(request, [&](Volume& volume) -> Result<Reply::Entry> {
    Node& node = volume.node(number);
    Node& folder = volume.node(parent);
    if (Names::isHidden(volume, folder, name)) return std::unexpected(ErrorNumber::notPermitted);
    const auto descriptor = Inodes::descriptor(volume, folder);
    if (!descriptor) return std::unexpected(descriptor.error());
    const InodeLock fileLock(node);
    const auto file = Inodes::descriptor(volume, node);
    if (!file) return std::unexpected(file.error());
    const ExclusiveLock folderLock(folder.lock);
    if (linkat(AT_FDCWD, SystemCall::pathOf((*file)->get()).c_str(), (*descriptor)->get(), name, AT_SYMLINK_FOLLOW) !=
        0) {
      return SystemCall::failure();
    }
    return Names::find(volume, folder, (*descriptor)->get(), name);
  });
}

}  // namespace quillbrook::Operations
