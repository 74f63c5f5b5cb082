// SPDX-License-Identifier: MIT
#include "Platform/Linux/ChildProgram.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <utility>

#include "Platform/Linux/ProcessDescriptor.h"
#include "Platform/Linux/SystemCall.h"

namespace quillbrook {
namespace {

// posix_spawn's settings, released together.
class SpawnSettings {
 public:
  explicit SpawnSettings(const FileDescriptor& output) {
    check(::posix_spawn_file_actions_init(&actions));
    check(::posix_spawnattr_init(&attributes));
    sigset_t none;
    sigset_t all;
    ::sigemptyset(&none);
    ::sigfillset(&all);
    check(::posix_spawnattr_setsigmask(&attributes, &none));
    check(::posix_spawnattr_setsigdefault(&attributes, &all));
    short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
    if (output.isOpen()) {
      check(::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
      check(::posix_spawn_file_actions_adddup2(&actions, output.get(), STDOUT_FILENO));
      check(::posix_spawn_file_actions_adddup2(&actions, output.get(), STDERR_FILENO));
      flags |= POSIX_SPAWN_SETSID;
    }
    check(::posix_spawnattr_setflags(&attributes, flags));
  }
  ~SpawnSettings() {
    ::posix_spawn_file_actions_destroy(&actions);
    ::posix_spawnattr_destroy(&attributes);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  posix_spawn_file_actions_t actions{};
  posix_spawnattr_t attributes{};
  int failure = 0;  // the first error number

 private:
  void check(int result) {
    if (failure == 0) failure = result;
  }
};

}  // namespace

Result<ChildProgram> ChildProgram::start(const std::vector<std::string>& arguments, Session session) {
  FileDescriptor output;
  if (session == Session::own) {
    // Memory, not a pipe: whoever inherits it from the program cannot hold up the reader.
    output = FileDescriptor(::memfd_create("output", MFD_CLOEXEC));
    if (!output.isOpen()) return SystemCall::failure();
  }
  std::vector<std::string> owned = arguments;
  std::vector<char*> pointers;
  pointers.reserve(owned.size() + 1);
  for (std::string& argument : owned) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  const SpawnSettings settings(output);
  pid_t process = -1;
  if (settings.failure != 0) return std::unexpected(ErrorNumber{settings.failure});
  const int reason = ::posix_spawnp(&process, owned.front().c_str(), &settings.actions, &settings.attributes,
                                    pointers.data(), environ);
  if (reason != 0) return std::unexpected(ErrorNumber{reason});
  return ChildProgram(process, std::move(output));
}

ChildProgram::ChildProgram(pid_t process, FileDescriptor output) : process_(process), output_(std::move(output)) {}

ChildProgram::ChildProgram(ChildProgram&& other) noexcept
    : process_(std::exchange(other.process_, -1)), exitCode_(other.exitCode_), output_(std::move(other.output_)) {}

ChildProgram::~ChildProgram() {
  terminate();
  static_cast<void>(wait());
}

Result<FileDescriptor> ChildProgram::openProcess() const {
  // Cannot be another process: this one has not waited for it yet.
  return ProcessDescriptor::open(process_);
}

void ChildProgram::terminate() const {
  if (process_ > 0) ::kill(process_, SIGTERM);
}

int ChildProgram::wait() {
  if (process_ <= 0) return exitCode_;
  int status = 0;
  const auto waited = SystemCall::retrying([&] { return ::waitpid(process_, &status, 0); });
  process_ = -1;
  // Where the end of children is ignored nobody can tell how this one ended: not well, as far as is known.
  constexpr int unknown = 127;
  if (waited == -1) {
    exitCode_ = unknown;
  } else {
    exitCode_ = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  }
  return exitCode_;
}

std::string ChildProgram::words() const {
  std::string text;
  std::array<char, 4096> buffer{};
  for (off_t offset = 0; output_.isOpen();) {
    const ssize_t count = ::pread(output_.get(), buffer.data(), buffer.size(), offset);
    if (count <= 0) break;
    text.append(buffer.data(), static_cast<std::size_t>(count));
    offset += count;
  }
  return text;
}

}  // namespace quillbrook
