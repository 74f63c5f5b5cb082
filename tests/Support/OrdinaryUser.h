// SPDX-License-Identifier: MIT
#pragma once

#include <sys/prctl.h>

#include "Support/Prelude.h"

namespace quillbrook {

// While it lives, a test that root runs acts as a user whom permissions bind.
class OrdinaryUser {
 public:
  OrdinaryUser() : wasRoot_(::geteuid() == 0) {
    if (wasRoot_ && ::setegid(nobody) == 0) isOrdinary_ = ::seteuid(nobody) == 0;
    if (!wasRoot_) isOrdinary_ = true;
    stayReadable();
  }
  ~OrdinaryUser() {
    if (!wasRoot_ || ::seteuid(0) != 0 || ::setegid(0) != 0) return;
    stayReadable();
  }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;
  OrdinaryUser(OrdinaryUser&&) = delete;
  OrdinaryUser& operator=(OrdinaryUser&&) = delete;

  [[nodiscard]] bool isOrdinary() const { return isOrdinary_; }

 private:
  static constexpr unsigned nobody = 65'534;

  // A change of user closes a process's own /proc to it, which what is tested and the leak check read.
  static void stayReadable() { ::prctl(PR_SET_DUMPABLE, 1); }

  bool wasRoot_;
  bool isOrdinary_ = false;
};

}  // namespace quillbrook
