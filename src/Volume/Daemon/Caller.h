// SPDX-License-Identifier: MIT
#pragma once

#include <fuse_lowlevel.h>

#include <vector>

#include "Volume/Daemon/Volume.h"

namespace quillbrook {

// While it lives, what this thread creates belongs to the caller of a request: with its umask, and in a privileged
// daemon with its user, group and supplementary groups. Other threads are not touched.
class Caller {
 public:
  // Fails if the thread cannot act for the caller; it is itself again then.
  [[nodiscard]] static Result<Caller> as(const Volume& volume, fuse_req_t request);
  ~Caller();
  Caller(Caller&& other) noexcept;
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;
  Caller& operator=(Caller&&) = delete;

  // The mode to create something with for which the caller asks for `wanted`: never wider.
  [[nodiscard]] mode_t mode(mode_t wanted) const { return wanted & ~ownMask_; }

 private:
  Caller() = default;

  mode_t ownMask_ = 0;  // what the thread's umask does not take away
  bool isActing_ = false;
  std::vector<gid_t> ownGroups_;
};

}  // namespace quillbrook
