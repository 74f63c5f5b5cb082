// SPDX-License-Identifier: MIT
#include "Volume/Administration/FuseAvailability.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "Platform/Linux/FileDescriptor.h"
#include "Volume/Administration/ChildProgram.h"

namespace quillbrook {

VolumeErrors::FuseUnavailable FuseAvailability::withoutHelper(ErrorNumber reason) {
  return {.what = "the program fusermount3 cannot be run",
          .remedy = "install it as root (Debian package fuse3)",
          .reason = reason};
}

std::expected<void, VolumeError> FuseAvailability::check() {
  const FileDescriptor device(::open("/dev/fuse", O_RDWR | O_CLOEXEC));
  if (!device.isOpen()) {
    const ErrorNumber reason{errno};
    if (reason.value == EACCES || reason.value == EPERM) {
      return std::unexpected(VolumeErrors::FuseUnavailable{
          .what = "/dev/fuse is closed to you",
          .remedy = "ask root for access to it (chmod 0666 /dev/fuse), or mount as root with --allow-other",
          .reason = reason});
    }
    return std::unexpected(VolumeErrors::FuseUnavailable{
        .what = "/dev/fuse is missing",
        .remedy =
            "load the kernel's module as root (modprobe fuse); in a container, start it with the device /dev/fuse",
        .reason = reason});
  }
  if (::geteuid() == 0) return {};
  auto child = ChildProgram::start({helper, "--version"}, ChildProgram::Session::own);
  if (!child) return std::unexpected(withoutHelper(child.error()));
  return {};
}

}  // namespace quillbrook
