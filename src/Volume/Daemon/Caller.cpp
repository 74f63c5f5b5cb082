// SPDX-License-Identifier: MIT
#include "Volume/Daemon/Caller.h"

#include <sched.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "Platform/Linux/SmallFile.h"
#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

namespace {

// The supplementary groups of a process, as /proc tells; none if it is gone or out of sight.
Result<std::vector<gid_t>> groupsOf(pid_t process) {
  const auto text = SmallFile::read(FilePath("/proc/" + std::to_string(process) + "/status"));
  if (!text && (text.error() == ErrorNumber::noEntry || text.error() == ErrorNumber{ESRCH})) {
    return std::vector<gid_t>();
  }
  if (!text) return std::unexpected(text.error());
  constexpr std::string_view label = "\nGroups:";
  const std::size_t start = text->find(label);
  if (start == std::string::npos) return std::unexpected(ErrorNumber::inputOutput);
  std::vector<gid_t> groups;
  const char* at = text->data() + start + label.size();
  const char* const end = text->data() + std::min(text->find('\n', start + 1), text->size());
  while (at < end) {
    gid_t group = 0;
    const auto [next, error] = std::from_chars(at, end, group);
    if (error == std::errc()) groups.push_back(group);
    at = error == std::errc() ? next : at + 1;
  }
  return groups;
}

Result<std::vector<gid_t>> ownGroups() {
  const int count = getgroups(0, nullptr);
  if (count < 0) return SystemCall::failure();
  std::vector<gid_t> groups(static_cast<std::size_t>(count));
  if (count != 0 && getgroups(count, groups.data()) != count) return SystemCall::failure();
  return groups;
}

// The C library's functions would change every thread of the process; the bare calls change this one.
Result<void> setOwnGroups(const std::vector<gid_t>& groups) {
  return SystemCall::checked([&] { return syscall(SYS_setgroups, groups.size(), groups.data()); });
}

// For the calls that set the user or the group for file systems: they tell no failure, only what was set before, and
// change nothing when asked for -1.
Result<void> setFileSystemIdentifier(long call, unsigned wanted) {
  syscall(call, wanted);
  if (static_cast<unsigned>(syscall(call, -1)) != wanted) return std::unexpected(ErrorNumber::notPermitted);
  return {};
}

Result<void> become(uid_t user, gid_t group, const std::vector<gid_t>& groups) {
  if (const auto done = setOwnGroups(groups); !done) return done;
  if (const auto done = setFileSystemIdentifier(SYS_setfsgid, group); !done) return done;
  return setFileSystemIdentifier(SYS_setfsuid, user);
}

// Whether the thread has the umask now. It belongs to all threads that share it; each of ours has its own from its
// first request on, where the host allows that.
bool setOwnUmask(mode_t mask) {
  thread_local const bool isAlone = unshare(CLONE_FS) == 0;
  if (isAlone) umask(mask);
  return isAlone;
}

}  // namespace

Result<Caller> Caller::as(const Volume& volume, fuse_req_t request) {
  const fuse_ctx& context = *fuse_req_ctx(request);
  Caller caller;
  if (!setOwnUmask(context.umask)) caller.ownMask_ = context.umask;
  if (!volume.isPrivileged || (context.uid == 0 && context.gid == 0)) return caller;
  auto own = ownGroups();
  if (!own) return std::unexpected(own.error());
  const auto groups = groupsOf(context.pid);
  if (!groups) return std::unexpected(groups.error());
  caller.ownGroups_ = std::move(*own);
  caller.isActing_ = true;
  if (const auto done = become(context.uid, context.gid, *groups); !done) return std::unexpected(done.error());
  return caller;
}

Caller::Caller(Caller&& other) noexcept
    : ownMask_(other.ownMask_),
      isActing_(std::exchange(other.isActing_, false)),
      ownGroups_(std::move(other.ownGroups_)) {}

Caller::~Caller() {
  // A thread that stayed somebody else would do the next callers' work with that one's rights. Without the daemon
  // nobody can use the files until it is started again, but none of them changes hands.
  if (isActing_ && !become(geteuid(), getegid(), ownGroups_)) std::abort();
}

}  // namespace quillbrook
