// SPDX-License-Identifier: MIT
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <vector>

#include "Platform/Linux/SystemCall.h"
#include "Volume/Daemon/Inodes.h"
#include "Volume/Daemon/Names.h"
#include "Volume/Daemon/Operations.h"
#include "Volume/Daemon/Reply.h"

namespace quillbrook::Operations {

namespace {

// A listing is read without a handle: the kernel keeps it, and the host's own positions lead back into it.
class Listing {
 public:
  Listing(fuse_req_t request, Volume& volume, Node& folder, std::size_t size)
      : request_(request), volume_(volume), folder_(folder), buffer_(size) {}

  Result<void> read(int descriptor, off_t offset, bool withAttributes);
  [[nodiscard]] std::span<const char> bytes() const { return {buffer_.data(), used_}; }
  // Takes back the lookups that were counted for the kernel.
  void forgetLookups() {
    for (Node* node : found_) volume_.nodes.forget(*node, 1);
  }

 private:
  enum class Outcome { added, passedOver, full };
  Outcome add(int descriptor, const dirent64& entry, bool withAttributes);
  Outcome addPlain(const dirent64& entry, const InodeKey& key);
  Outcome addWithoutNode(const dirent64& entry);
  Outcome place(std::size_t length);

  fuse_req_t request_;
  Volume& volume_;
  Node& folder_;
  std::vector<char> buffer_;
  std::size_t used_ = 0;
  std::vector<Node*> found_;
};

Result<void> Listing::read(int descriptor, off_t offset, bool withAttributes) {
  if (lseek64(descriptor, offset, SEEK_SET) < 0) return SystemCall::failure();
  alignas(dirent64) std::array<char, 32'768> entries;
  while (true) {
    const auto got = syscall(SYS_getdents64, descriptor, entries.data(), entries.size());
    if (got < 0) return SystemCall::failure();
    if (got == 0) return {};
    for (std::size_t at = 0; at < static_cast<std::size_t>(got);) {
      const auto& entry = *reinterpret_cast<const dirent64*>(entries.data() + at);
      at += entry.d_reclen;
      if (add(descriptor, entry, withAttributes) == Outcome::full) return {};
    }
  }
}

Listing::Outcome Listing::place(std::size_t length) {
  if (length > buffer_.size() - used_) return Outcome::full;
  used_ += length;
  return Outcome::added;
}

Listing::Outcome Listing::addPlain(const dirent64& entry, const InodeKey& key) {
  struct stat status{};
  status.st_ino = volume_.nodes.shownInode(key);
  status.st_mode = static_cast<mode_t>(DTTOIF(entry.d_type));
  return place(
      fuse_add_direntry(request_, buffer_.data() + used_, buffer_.size() - used_, entry.d_name, &status, entry.d_off));
}

// For a listing with attributes: the kernel takes the name from it, and asks for the rest by itself.
Listing::Outcome Listing::addWithoutNode(const dirent64& entry) {
  fuse_entry_param plain{};  // of node 0: not looked up
  plain.attr.st_ino = entry.d_ino;
  plain.attr.st_mode = static_cast<mode_t>(DTTOIF(entry.d_type));
  return place(fuse_add_direntry_plus(request_, buffer_.data() + used_, buffer_.size() - used_, entry.d_name, &plain,
                                      entry.d_off));
}

Listing::Outcome Listing::add(int descriptor, const dirent64& entry, bool withAttributes) {
  const std::string_view name = entry.d_name;
  if (Names::isHidden(volume_, folder_, name)) return Outcome::passedOver;
  if (!withAttributes) return addPlain(entry, {.device = volume_.source.status.st_dev, .inode = entry.d_ino});
  if (name == "." || name == "..") return addWithoutNode(entry);
  // Only the size of the entry counts here: nothing may be looked up that the kernel is not told of.
  if (fuse_add_direntry_plus(request_, nullptr, 0, entry.d_name, nullptr, 0) > buffer_.size() - used_) {
    return Outcome::full;
  }
  const SharedLock lock(folder_.lock);
  const auto found = Names::find(volume_, folder_, descriptor, entry.d_name);
  if (!found && found.error() == ErrorNumber::noEntry) return Outcome::passedOver;  // gone in the meantime
  if (!found) return addWithoutNode(entry);  // it is there all the same: whoever asks for it hears why not
  found_.push_back(&found->node);
  const fuse_entry_param parameters = Reply::parameters(volume_, *found);
  return place(fuse_add_direntry_plus(request_, buffer_.data() + used_, buffer_.size() - used_, entry.d_name,
                                      &parameters, entry.d_off));
}

void list(fuse_req_t request, fuse_ino_t number, std::size_t size, off_t offset, bool withAttributes) {
  Volume& volume = Volume::of(request);
  Node& folder = volume.node(number);
  Listing listing(request, volume, folder, size);
  const auto done = [&]() -> Result<void> {
    const auto descriptor = Inodes::open(volume, folder, O_RDONLY | O_DIRECTORY);
    if (!descriptor) return std::unexpected(descriptor.error());
    return listing.read(descriptor->get(), offset, withAttributes);
  }();
  if (!done && listing.bytes().empty()) {
    fuse_reply_err(request, done.error().value);
  } else if (fuse_reply_buf(request, listing.bytes().data(), listing.bytes().size()) != 0) {
    listing.forgetLookups();
  }
}

}  // namespace

void opendir(fuse_req_t request, fuse_ino_t, fuse_file_info* file) {
  const Volume& volume = Volume::of(request);
  // "No such call" makes the kernel open folders without asking and keep what it has read of them. It is told of what
  // the volume itself changes; where others change the source underneath, it has to ask.
  if (volume.source.isInPlace) {
    fuse_reply_err(request, ENOSYS);
  } else {
    fuse_reply_open(request, file);
  }
}

void readdir(fuse_req_t request, fuse_ino_t number, std::size_t size, off_t offset, fuse_file_info*) {
  list(request, number, size, offset, false);
}

void readdirplus(fuse_req_t request, fuse_ino_t number, std::size_t size, off_t offset, fuse_file_info*) {
  list(request, number, size, offset, true);
}

void fsyncdir(fuse_req_t request, fuse_ino_t number, int isDataOnly, fuse_file_info*) {
  Reply::answer(request, [&](Volume& volume) -> Result<void> {
    const auto folder = Inodes::open(volume, volume.node(number), O_RDONLY | O_DIRECTORY);
    if (!folder) return std::unexpected(folder.error());
    return SystemCall::checked([&] { return isDataOnly != 0 ? fdatasync(folder->get()) : ::fsync(folder->get()); });
  });
}

}  // namespace quillbrook::Operations
