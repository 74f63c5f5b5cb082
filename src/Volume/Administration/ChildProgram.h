// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <stop_token>
#include <string>
#include <vector>

#include "Platform/ErrorNumber.h"
#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {

// A program that was started, with no signal blocked or ignored on the caller's account. Belongs to one thread.
class ChildProgram {
 public:
  enum class Session {
    own,     // its standard output and error are kept for words(); the terminal's signals do not reach it
    shared,  // writes where this process writes, and gets the terminal's signals
  };
  // `arguments` begin with the program: a path, or a name that is looked for in PATH.
  [[nodiscard]] static Result<ChildProgram> start(const std::vector<std::string>& arguments, Session session);

  // Waits for it, so that no process is left behind.
  ~ChildProgram();
  ChildProgram(ChildProgram&& other) noexcept;
  ChildProgram& operator=(ChildProgram&&) = delete;

  // Readable once the program has ended.
  [[nodiscard]] int processDescriptor() const { return descriptor_.get(); }
  void terminate();
  // Waits for its end: its exit code, or 128 and the signal's number.
  [[nodiscard]] int wait();
  [[nodiscard]] std::string words() const;

 private:
  ChildProgram(pid_t process, FileDescriptor descriptor, FileDescriptor output);

  pid_t process_;  // -1 once waited for
  int exitCode_ = 0;
  FileDescriptor descriptor_;
  FileDescriptor output_;
};

// A process as something that poll(2) can wait for: readable once it has ended. Not open if there is none of that
// number.
[[nodiscard]] FileDescriptor openProcess(pid_t process);

// A stop token as something that poll(2) can wait for.
class StopDescriptor {
 public:
  explicit StopDescriptor(std::stop_token stop);
  // Readable once the stop was requested.
  [[nodiscard]] int get() const { return event_.get(); }

 private:
  struct Notify {
    int event;
    void operator()() const;
  };
  FileDescriptor event_;
  std::stop_callback<Notify> callback_;
};

}  // namespace quillbrook
