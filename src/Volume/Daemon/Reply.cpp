// SPDX-License-Identifier: MIT
#include "Volume/Daemon/Reply.h"

#include <sys/uio.h>

#include <array>

#include "Volume/Daemon/Handles.h"

namespace quillbrook::Reply {

namespace {

// As libfuse writes them; needed where it has no function for the whole answer.
fuse_entry_out wireForm(const fuse_entry_param& entry) {
  const auto seconds = static_cast<std::uint64_t>(entry.entry_timeout);
  const auto word = [](auto value) { return static_cast<std::uint32_t>(value); };
  const struct stat& status = entry.attr;
  return {.nodeid = entry.ino,
          .generation = entry.generation,
          .entry_valid = seconds,
          .attr_valid = static_cast<std::uint64_t>(entry.attr_timeout),
          .entry_valid_nsec = 0,
          .attr_valid_nsec = 0,
          .attr = {.ino = status.st_ino,
                   .size = static_cast<std::uint64_t>(status.st_size),
                   .blocks = static_cast<std::uint64_t>(status.st_blocks),
                   .atime = static_cast<std::uint64_t>(status.st_atim.tv_sec),
                   .mtime = static_cast<std::uint64_t>(status.st_mtim.tv_sec),
                   .ctime = static_cast<std::uint64_t>(status.st_ctim.tv_sec),
                   .atimensec = word(status.st_atim.tv_nsec),
                   .mtimensec = word(status.st_mtim.tv_nsec),
                   .ctimensec = word(status.st_ctim.tv_nsec),
                   .mode = status.st_mode,
                   .nlink = word(status.st_nlink),
                   .uid = status.st_uid,
                   .gid = status.st_gid,
                   .rdev = word(status.st_rdev),
                   .blksize = word(status.st_blksize),
                   .flags = 0}};
}

// Whether the kernel took the answer. If the caller was interrupted meanwhile, it did not, and what the answer gave
// away is still here.
bool sendParts(fuse_req_t request, std::span<const iovec> parts) {
  return fuse_reply_iov(request, parts.data(), static_cast<int>(parts.size())) == 0;
}

}  // namespace

fuse_entry_param parameters(Volume& volume, const Entry& entry) {
  const double timeout = entry.isTransient ? 0.0 : volume.timeout();
  return {.ino = volume.number(entry.node),
          .generation = entry.node.generation,
          .attr = entry.status,
          .attr_timeout = entry.node.isWrittenPastDaemon ? 0.0 : timeout,
          .entry_timeout = timeout};
}

void send(fuse_req_t request, Volume& volume, const Attributes& reply) {
  fuse_reply_attr(request, &reply.status, reply.isTransient ? 0.0 : volume.timeout());
}

void send(fuse_req_t request, Volume& volume, const Entry& reply) {
  const fuse_entry_param entry = parameters(volume, reply);
  if (fuse_reply_entry(request, &entry) != 0) volume.nodes.forget(reply.node, 1);
}

void send(fuse_req_t request, Volume&, const Opened& reply) {
  KernelProtocol::OpenReply opened = reply.reply;
  const iovec part{.iov_base = &opened, .iov_len = sizeof opened};
  if (!sendParts(request, {&part, 1})) Handles::release(reply.node, reply.handle);
}

void send(fuse_req_t request, Volume& volume, const Created& reply) {
  fuse_entry_out entry = wireForm(parameters(volume, reply.entry));
  KernelProtocol::OpenReply opened = reply.opened.reply;
  const std::array<iovec, 2> parts{iovec{.iov_base = &entry, .iov_len = sizeof entry},
                                   iovec{.iov_base = &opened, .iov_len = sizeof opened}};
  if (sendParts(request, parts)) return;
  Handles::release(reply.opened.node, reply.opened.handle);
  volume.nodes.forget(reply.entry.node, 1);
}

void send(fuse_req_t request, Volume&, const Bytes& reply) {
  fuse_reply_buf(request, reply.bytes.data(), reply.bytes.size());
}

void send(fuse_req_t request, Volume&, const Text& reply) {
  fuse_reply_readlink(request, reply.text);
}

void send(fuse_req_t request, Volume&, const AttributeSize& reply) {
  fuse_reply_xattr(request, reply.byteCount);
}

void send(fuse_req_t request, Volume&, const Written& reply) {
  fuse_reply_write(request, reply.byteCount);
}

void send(fuse_req_t request, Volume&, const Position& reply) {
  fuse_reply_lseek(request, reply.offset);
}

void send(fuse_req_t request, Volume&, const IoctlResult& reply) {
  fuse_reply_ioctl(request, 0, reply.bytes.data(), reply.bytes.size());
}

void send(fuse_req_t request, Volume&, const FileSystemStatus& reply) {
  fuse_reply_statfs(request, &reply.status);
}

}  // namespace quillbrook::Reply
