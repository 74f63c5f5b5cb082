// SPDX-License-Identifier: MIT
#include "Volume/Daemon/Caller.h"

#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <charconv>
#include <string>
#include <string_view>

#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {

namespace {

// The supplementary groups of a process, as /proc tells; none if it is gone or out of sight.
std::vector<gid_t> groupsOf(pid_t process) {
  const std::string path = "/proc/" + std::to_string(process) + "/status";
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.isOpen()) return {};
  std::string text;
  for (ssize_t got = 1; got > 0;) {
    constexpr std::size_t piece = 4096;
    const std::size_t before = text.size();
    text.resize(before + piece);
    got = read(file.get(), text.data() + before, piece);
    text.resize(before + static_cast<std::size_t>(got > 0 ? got : 0));
  }
  constexpr std::string_view label = "\nGroups:";
  const std::size_t start = text.find(label);
  if (start == std::string::npos) return {};
  std::vector<gid_t> groups;
  const char* at = text.data() + start + label.size();
  const char* const end = text.data() + std::min(text.find('\n', start + 1), text.size());
  while (at < end) {
    gid_t group = 0;
    const auto [next, error] = std::from_chars(at, end, group);
    if (error == std::errc()) groups.push_back(group);
    at = error == std::errc() ? next : at + 1;
  }
  return groups;
}

// The C library's functions would change every thread of the process; the bare calls change this one.
void setOwnGroups(const std::vector<gid_t>& groups) {
  syscall(SYS_setgroups, groups.size(), groups.data());
}

void setOwnUmask(mode_t mask) {
  // The umask belongs to all threads that share it; each of ours has its own from its first request on.
  thread_local const bool isAlone = unshare(CLONE_FS) == 0;
  if (isAlone) umask(mask);
}

}  // namespace

Caller::Caller(const Volume& volume, fuse_req_t request) {
  const fuse_ctx& context = *fuse_req_ctx(request);
  setOwnUmask(context.umask);
  if (!volume.isPrivileged || (context.uid == 0 && context.gid == 0)) return;
  isActing_ = true;
  ownGroups_.resize(static_cast<std::size_t>(std::max(getgroups(0, nullptr), 0)));
  if (!ownGroups_.empty()) getgroups(static_cast<int>(ownGroups_.size()), ownGroups_.data());
  setOwnGroups(groupsOf(context.pid));
  syscall(SYS_setfsgid, context.gid);
  syscall(SYS_setfsuid, context.uid);
}

Caller::~Caller() {
  if (!isActing_) return;
  syscall(SYS_setfsuid, geteuid());
  syscall(SYS_setfsgid, getegid());
  setOwnGroups(ownGroups_);
}

}  // namespace quillbrook
