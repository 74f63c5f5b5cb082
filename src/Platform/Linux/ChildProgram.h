// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

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
  // `arguments` begin with the program: a path, or a name that is looked for in PATH. Errors as of execve(2) and
  // posix_spawn(3).
  [[nodiscard]] static Result<ChildProgram> start(const std::vector<std::string>& arguments, Session session);

  // Asks it to end if nobody has waited for it, and waits, so that no process is left behind.
  ~ChildProgram();
  ChildProgram(ChildProgram&& other) noexcept;
  ChildProgram& operator=(ChildProgram&&) = delete;
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;

  // Readable once the program has ended. Not to be called after wait().
  [[nodiscard]] Result<FileDescriptor> openProcess() const;
  // Asks it to end, as SIGTERM does.
  void terminate() const;
  // Waits for its end: its exit code, or 128 and the signal's number. 127 where SIGCHLD is ignored, which hides it.
  [[nodiscard]] int wait();
  // What it has written up to now, bytes; empty for a shared session.
  [[nodiscard]] std::string words() const;

 private:
  ChildProgram(pid_t process, FileDescriptor output);

  pid_t process_;  // -1 once waited for
  int exitCode_ = 0;
  FileDescriptor output_;
};

}  // namespace quillbrook
