// SPDX-License-Identifier: MIT
#include "Volume/Daemon/Operations.h"

#include <cerrno>

#include "Volume/Daemon/Volume.h"

namespace quillbrook::Operations {

namespace {

void negotiate(void* userData, fuse_conn_info* connection) {
  const Volume& volume = *static_cast<const Volume*>(userData);
  constexpr unsigned byteCount = 1U << 20U;
  connection->max_read = byteCount;  // as the mount was asked for
  connection->max_write = byteCount;
  connection->max_readahead = byteCount;
  connection->max_background = 64;
  connection->congestion_threshold = 48;
  const auto want = [&](unsigned flags, bool isWanted) {
    connection->want = isWanted ? connection->want | (connection->capable & flags) : connection->want & ~flags;
  };
  want(FUSE_CAP_ATOMIC_O_TRUNC | FUSE_CAP_DONT_MASK | FUSE_CAP_PARALLEL_DIROPS | FUSE_CAP_READDIRPLUS |
           FUSE_CAP_READDIRPLUS_AUTO | FUSE_CAP_IOCTL_DIR | FUSE_CAP_POSIX_ACL | FUSE_CAP_ASYNC_READ |
           FUSE_CAP_ASYNC_DIO | FUSE_CAP_CACHE_SYMLINKS,
       true);
  // What write() has returned for is the host's before it returns; and locks are the kernel's own affair.
  want(FUSE_CAP_WRITEBACK_CACHE | FUSE_CAP_POSIX_LOCKS | FUSE_CAP_FLOCK_LOCKS, false);
  // In place nothing changes but through the mount, so pages stay until the volume itself says otherwise.
  want(FUSE_CAP_AUTO_INVAL_DATA, !volume.source.isInPlace);
  want(FUSE_CAP_EXPLICIT_INVAL_DATA, volume.source.isInPlace);
}

// There is nothing to flush; the kernel asks no second time.
void flush(fuse_req_t request, fuse_ino_t, fuse_file_info*) {
  fuse_reply_err(request, ENOSYS);
}

}  // namespace

fuse_lowlevel_ops table() {
  fuse_lowlevel_ops operations{};
  operations.init = negotiate;
  operations.lookup = lookup;
  operations.forget = forget;
  operations.forget_multi = forgetMany;
  operations.getattr = getattr;
  operations.setattr = setattr;
  operations.readlink = readlink;
  operations.statfs = statfs;
  operations.opendir = opendir;
  operations.readdir = readdir;
  operations.readdirplus = readdirplus;
  operations.fsyncdir = fsyncdir;
  operations.open = open;
  operations.release = release;
  operations.flush = flush;
  operations.read = read;
  operations.lseek = lseek;
  operations.fsync = fsync;
  operations.write = write;
  operations.fallocate = fallocate;
  operations.copy_file_range = copyFileRange;
  operations.create = create;
  operations.mknod = mknod;
  operations.mkdir = mkdir;
  operations.symlink = symlink;
  operations.link = link;
  operations.unlink = unlink;
  operations.rmdir = rmdir;
  operations.rename = rename;
  operations.getxattr = getxattr;
  operations.setxattr = setxattr;
  operations.listxattr = listxattr;
  operations.removexattr = removexattr;
  operations.ioctl = ioctl;
  return operations;
}

}  // namespace quillbrook::Operations
