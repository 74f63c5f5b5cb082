// SPDX-License-Identifier: MIT
#include "Platform/Linux/FuseUnmount.h"

#include <sys/mount.h>
#include <unistd.h>

#include <vector>

#include "Platform/Linux/ChildProgram.h"
#include "Platform/Linux/SystemCall.h"

namespace quillbrook::FuseUnmount {
namespace {

std::expected<void, Error> byHelper(const FilePath& mountPoint, Manner manner) {
  std::vector<std::string> arguments{helper, "-u"};
  if (manner == Manner::lazily) arguments.emplace_back("-z");
  arguments.emplace_back("--");
  arguments.push_back(mountPoint.bytes());
  auto child = ChildProgram::start(arguments, ChildProgram::Session::own);
  if (!child) return std::unexpected(HelperMissing{child.error()});
  const int exitCode = child->wait();
  if (exitCode == 0) return {};
  return std::unexpected(HelperFailed{.exitCode = exitCode, .words = child->words()});
}

}  // namespace

std::expected<void, Error> unmount(const FilePath& mountPoint, Manner manner) {
  if (::geteuid() != 0) return byHelper(mountPoint, manner);
  const int flags = UMOUNT_NOFOLLOW | (manner == Manner::lazily ? MNT_DETACH : 0);
  const auto done = SystemCall::checked([&] { return ::umount2(mountPoint.c_str(), flags); });
  if (!done) return std::unexpected(CallFailed{done.error()});
  return {};
}

}  // namespace quillbrook::FuseUnmount
