// SPDX-License-Identifier: MIT
#include "Platform/Linux/SystemCall.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace quillbrook::SystemCall {
namespace {

constexpr mode_t ownerReadWrite = S_IRUSR | S_IWUSR;

}  // namespace

std::string pathOf(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

Result<FileDescriptor> openAt(int folder, const char* path, int flags, mode_t mode) {
  const int descriptor = retrying([&] { return ::openat(folder, path, flags | O_CLOEXEC, mode); });
  if (descriptor == -1) return failure();
  return FileDescriptor(descriptor);
}

Result<FileDescriptor> openUnnoticed(int folder, const char* path, int flags) {
  auto file = openAt(folder, path, flags | O_NOATIME);
  return file || file.error() != ErrorNumber::notPermitted ? std::move(file) : openAt(folder, path, flags);
}

Result<FileDescriptor> openBeneath(int folder, const char* path, int flags) {
  struct open_how how{};
  how.flags = static_cast<unsigned>(flags) | unsigned{O_CLOEXEC};
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_XDEV;
  const auto descriptor = retrying([&] { return ::syscall(SYS_openat2, folder, path, &how, sizeof how); });
  if (descriptor == -1) return failure();
  return FileDescriptor(static_cast<int>(descriptor));
}

Result<void> close(FileDescriptor file) {
  if (file.isOpen() && ::close(file.release()) == -1 && errno != EINTR) return failure();
  return {};
}

Result<struct stat> status(int descriptor) {
  struct stat found{};
  if (::fstat(descriptor, &found) == -1) return failure();
  return found;
}

Result<void> writeAll(int descriptor, std::uint64_t offset, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const auto written =
        retrying([&] { return ::pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset)); });
    if (written == -1) return failure();
    bytes = bytes.subspan(static_cast<std::size_t>(written));
    offset += static_cast<std::uint64_t>(written);
  }
  return {};
}

bool letOwnerIn(int inode, mode_t& mode) {
  const auto found = status(inode);
  if (!found || !S_ISREG(found->st_mode) || found->st_uid != ::geteuid()) return false;
  mode = found->st_mode & permissionBits;
  if ((mode & ownerReadWrite) == ownerReadWrite) return false;
  return ::chmod(pathOf(inode).c_str(), mode | ownerReadWrite) == 0;
}

Result<void> restoreMode(int inode, mode_t mode) {
  return checked([&] { return ::chmod(pathOf(inode).c_str(), mode); });
}

}  // namespace quillbrook::SystemCall
