// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdint>
#include <expected>
#include <span>
#include <string>

#include "Platform/ErrorNumber.h"
#include "Platform/Linux/FileDescriptor.h"

// System calls with the three habits that all of them need here: interrupted ones are made again, descriptors are
// owned and never inherited by other programs, failures are values.
namespace quillbrook::SystemCall {

// Permissions and set-id bits in a mode.
inline constexpr mode_t permissionBits = 07777;

// What errno says, for the failure of the call just made.
[[nodiscard]] inline std::unexpected<ErrorNumber> failure() {
  return std::unexpected(ErrorNumber{errno});
}

// Makes the call, again while a signal interrupts it. `call` returns -1 on failure.
template <typename Call>
[[nodiscard]] auto retrying(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

// The same for calls that return 0 or -1.
template <typename Call>
[[nodiscard]] Result<void> checked(Call call) {
  if (retrying(call) == -1) return failure();
  return {};
}

// A path that leads to what `descriptor` has open, also when it was opened with O_PATH.
[[nodiscard]] std::string pathOf(int descriptor);

// openat, with O_CLOEXEC.
[[nodiscard]] Result<FileDescriptor> openAt(int folder, const char* path, int flags, mode_t mode = 0);

// openAt for looking at what is no reading of the file: its access time stays where the caller, who must be its owner
// or root, may ask for that.
[[nodiscard]] Result<FileDescriptor> openUnnoticed(int folder, const char* path, int flags);

// openAt for what lies beneath `folder` on its file system, reached through no link: EXDEV or ELOOP otherwise.
[[nodiscard]] Result<FileDescriptor> openBeneath(int folder, const char* path, int flags);

// close, of what was written to: whatever could not be kept may show here. Not made again when interrupted, since the
// descriptor is free by then. Nothing to do for one that is not open.
[[nodiscard]] Result<void> close(FileDescriptor file);

// fstat, also of a descriptor opened with O_PATH.
[[nodiscard]] Result<struct stat> status(int descriptor);

// pwrite until all is written.
[[nodiscard]] Result<void> writeAll(int descriptor, std::uint64_t offset, std::span<const std::uint8_t> bytes);

// Makes a call on `inode` that the caller's own permission bits may forbid: a file that is read-only to its owner
// must still get and lose our attributes. `call` returns a Result. Refused with EACCES on a regular file of the
// caller's, it is made once more while the owner may read and write.
template <typename Call>
[[nodiscard]] auto asOwner(int inode, Call call) -> decltype(call());

// Whether the permission bits alone can be what refused the caller; then `mode` are those to put back.
[[nodiscard]] bool letOwnerIn(int inode, mode_t& mode);
[[nodiscard]] Result<void> restoreMode(int inode, mode_t mode);

template <typename Call>
auto asOwner(int inode, Call call) -> decltype(call()) {
  auto result = call();
  mode_t mode = 0;
  if (result || result.error().value != EACCES || !letOwnerIn(inode, mode)) return result;
  result = call();
  if (const auto restored = restoreMode(inode, mode); !restored && result) return std::unexpected(restored.error());
  return result;
}

}  // namespace quillbrook::SystemCall
