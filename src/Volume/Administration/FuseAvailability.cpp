// SPDX-License-Identifier: MIT
#include "Volume/Administration/FuseAvailability.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "Platform/Linux/ChildProgram.h"
#include "Platform/Linux/FuseUnmount.h"
#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

VolumeErrors::FuseUnavailable FuseAvailability::withoutHelper(ErrorNumber reason) {
  return {.what = "the program fusermount3 cannot be run",
          .remedy = "install it as root (Debian package fuse3)",
          .reason = reason};
}

std::expected<void, VolumeError> FuseAvailability::check() {
  const auto device = SystemCall::openAt(AT_FDCWD, "/dev/fuse", O_RDWR);
  if (!device) {
    const ErrorNumber reason = device.error();
    if (reason.value == EACCES || reason.value == EPERM) {
      return std::unexpected(
          VolumeErrors::FuseUnavailable{.what = "/dev/fuse is closed to you",
                                        .remedy = "ask root for access to it (chmod 0666 /dev/fuse), or mount as root "
                                                  "with --allow-other, and then compress as root too",
                                        .reason = reason});
    }
    return std::unexpected(VolumeErrors::FuseUnavailable{
        .what = "/dev/fuse is missing",
        .remedy =
            "load the kernel's module as root (modprobe fuse); in a container, start it with the device /dev/fuse",
        .reason = reason});
  }
  if (::geteuid() == 0) return {};
  const auto child = ChildProgram::start({FuseUnmount::helper, "--version"}, ChildProgram::Session::own);
  if (!child) return std::unexpected(withoutHelper(child.error()));
  return {};
}

}  // namespace quillbrook
