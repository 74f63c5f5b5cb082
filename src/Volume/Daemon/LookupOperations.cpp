// SPDX-License-Identifier: MIT
#include "Volume/Daemon/Inodes.h"
#include "Volume/Daemon/Names.h"
#include "Volume/Daemon/Operations.h"
#include "Volume/Daemon/Reply.h"

namespace quillbrook::Operations {

void lookup(fuse_req_t request, fuse_ino_t parent, const char* name) {
  Volume& volume = Volume::of(request);
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
  // Work files go without the kernel being told: a listing that it kept may show one that is gone.
  if (!found && found.error() == ErrorNumber::noEntry) volume.kernel.forgetListing(parent);
  Reply::answer(request, [&](Volume&) { return found; });
}

void forget(fuse_req_t request, fuse_ino_t number, std::uint64_t lookups) {
  Volume& volume = Volume::of(request);
  if (number != FUSE_ROOT_ID) volume.nodes.forget(volume.node(number), lookups);
  fuse_reply_none(request);
}

void forgetMany(fuse_req_t request, std::size_t count, fuse_forget_data* forgets) {
  Volume& volume = Volume::of(request);
  for (std::size_t index = 0; index < count; ++index) {
    if (forgets[index].ino != FUSE_ROOT_ID)
      volume.nodes.forget(volume.node(forgets[index].ino), forgets[index].nlookup);
  }
  fuse_reply_none(request);
}

}  // namespace quillbrook::Operations
