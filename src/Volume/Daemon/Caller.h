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
  Caller(const Volume& volume, fuse_req_t request);
  ~Caller();
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;

 private:
  bool isActing_ = false;
  std::vector<gid_t> ownGroups_;
};

}  // namespace quillbrook
