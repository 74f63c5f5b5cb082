// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <functional>

namespace quillbrook {

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
    isReady_ = ::read(ready[0], &answer, 1) == 1 && answer == '+';
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

  [[nodiscard]] bool isReady() const { return isReady_; }
  [[nodiscard]] pid_t process() const { return process_; }

 private:
  pid_t process_ = -1;
  bool isReady_ = false;
};

}  // namespace quillbrook
