// SPDX-License-Identifier: MIT
#pragma once

#include "Support/Prelude.h"

namespace quillbrook {

// Runs `body` in a process of its own, which does not outlive a wait for the kernel; what it returns is the status,
// as waitpid tells it.
inline int inOtherProcess(const std::function<int()>& body) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(20);
    ::_exit(body());
  }
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return status;
}

// A process that has done something and waits. Ended with the object.
class WaitingChild {
 public:
  explicit WaitingChild(const std::function<bool()>& action) {
    std::array<int, 2> ready{};
    if (::pipe(ready.data()) != 0) return;
    process_ = ::fork();
    if (process_ == 0) {
      const char answer = action() ? '+' : '-';
      if (::write(ready[1], &answer, 1) != 1) ::_exit(1);
      for (;;) ::pause();
    }
    ::close(ready[1]);
    char answer = 0;
    EXPECT_TRUE(::read(ready[0], &answer, 1) == 1 && answer == '+') << "it could not be done";
    ::close(ready[0]);
  }
  ~WaitingChild() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }
  WaitingChild(const WaitingChild&) = delete;
  WaitingChild& operator=(const WaitingChild&) = delete;
  WaitingChild(WaitingChild&&) = delete;
  WaitingChild& operator=(WaitingChild&&) = delete;

  [[nodiscard]] pid_t process() const { return process_; }

 private:
  pid_t process_ = -1;
};

}  // namespace quillbrook
