// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/stat.h>

#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Platform/ReservedNames.h"
#include "Volume/Daemon/Names.h"
#include "Volume/Daemon/Operations.h"
#include "Volume/Daemon/Reply.h"

namespace quillbrook {

namespace Names {

bool isHidden(Volume& volume, const Node& folder, std::string_view name) {
  return VolumeProtocol::isPrivate(&folder == &volume.nodes.root(), name);
}

bool isTransient(std::string_view name) {
  return ReservedNames::isWorkFileName(name);
}

Result<Reply::Entry> find(Volume& volume, Node& folder, int descriptor, const char* name) {
  struct stat status{};
  if (fstatat(descriptor, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return SystemCall::failure();
  const FileForm form = Inodes::formAt(descriptor, name, status);
  Node& node = volume.nodes.acquire(folder, name, status);
  return Reply::Entry{.node = node, .status = Inodes::shown(node, status, form), .isTransient = isTransient(name)};
}

}  // namespace Names

namespace Operations {

void lookup(fuse_req_t request, fuse_ino_t parent, const char* name) {
  Volume& volume = *static_cast<Volume*>(fuse_req_userdata(request));
  Node& folder = volume.node(parent);
  const auto found = [&]() -> Result<Reply::Entry> {
    if (Names::isHidden(volume, folder, name)) return std::unexpected(ErrorNumber::noEntry);
    const auto descriptor = Inodes::descriptor(volume, folder);
    if (!descriptor) return std::unexpected(descriptor.error());
    const SharedLock lock(folder.lock);
    return Names::find(volume, folder, (*descriptor)->get(), name);
  }();
  if (!found && found.error() == ErrorNumber::noEntry && !Names::isTransient(name)) {
    // That there is none may be remembered as well.
    fuse_entry_param none{};
    none.entry_timeout = volume.timeout();
    fuse_reply_entry(request, &none);
    return;
  }
  Reply::answer(request, [&](Volume&) { return found; });
}

void forget(fuse_req_t request, fuse_ino_t number, std::uint64_t lookups) {
  Volume& volume = *static_cast<Volume*>(fuse_req_userdata(request));
  if (number != FUSE_ROOT_ID) volume.nodes.forget(volume.node(number), lookups);
  fuse_reply_none(request);
}

void forgetMany(fuse_req_t request, std::size_t count, fuse_forget_data* forgets) {
  Volume& volume = *static_cast<Volume*>(fuse_req_userdata(request));
  for (std::size_t index = 0; index < count; ++index) {
    if (forgets[index].ino != FUSE_ROOT_ID)
      volume.nodes.forget(volume.node(forgets[index].ino), forgets[index].nlookup);
  }
  fuse_reply_none(request);
}

}  // namespace Operations
}  // namespace quillbrook
