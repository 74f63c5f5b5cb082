// SPDX-License-Identifier: MIT
#include "Volume/Daemon/VolumeProgram.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <iostream>
#include <optional>
#include <thread>
#include <utility>

#include "Platform/Linux/SystemCall.h"
#include "Volume/Daemon/Operations.h"
#include "Volume/Daemon/Options.h"
#include "Volume/Daemon/Volume.h"
#include "Volume/Expansion/ExpansionRecovery.h"

namespace quillbrook::VolumeProgram {

namespace {

void complain(const std::string& text) {
  std::cerr << "quillbrook-volume: " << text << std::endl;
}

// Allows as many descriptors as the host lets this process have, and tells how many of them to keep for nodes.
std::size_t descriptorCapacity() {
  rlimit limit{};
  constexpr rlim_t atLeast = 64;
  constexpr rlim_t atMost = 8192;
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return atLeast;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  return std::clamp(limit.rlim_max / 4, atLeast, atMost);
}

// The parent's side: its exit code is whether the mount came to stand.
int waitUntilReady(pid_t child, const FileDescriptor& ready) {
  char byte = 0;
  if (SystemCall::retrying([&] { return read(ready.get(), &byte, 1); }) == 1) return 0;
  int status = 0;
  if (SystemCall::retrying([&] { return waitpid(child, &status, 0); }) != child) return 1;
  return WIFEXITED(status) && WEXITSTATUS(status) != 0 ? WEXITSTATUS(status) : 1;
}

// Called once, when the kernel has begun to talk: whoever waits for the mount may go on.
void announce(FileDescriptor& ready) {
  if (!ready.isOpen()) return;
  const FileDescriptor nowhere(open("/dev/null", O_RDWR | O_CLOEXEC));
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nowhere.get(), standard);
  const char byte = 0;
  static_cast<void>(SystemCall::retrying([&] { return write(ready.get(), &byte, 1); }));
  ready.reset();
}

sigset_t endingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGUSR1}) sigaddset(&signals, signal);
  return signals;
}

// Waits for the signals that end a daemon, on a thread of its own. SIGUSR1 from this process ends the wait.
class SignalThread {
 public:
  explicit SignalThread(KernelSession& kernel)
      : thread_([&kernel] {
          const sigset_t signals = endingSignals();
          int signal = 0;
          while (sigwait(&signals, &signal) == 0 && signal != SIGUSR1) kernel.detach();
        }) {}
  ~SignalThread() {
    pthread_kill(thread_.native_handle(), SIGUSR1);
    thread_.join();
  }
  SignalThread(const SignalThread&) = delete;
  SignalThread& operator=(const SignalThread&) = delete;
  SignalThread(SignalThread&&) = delete;
  SignalThread& operator=(SignalThread&&) = delete;

 private:
  std::thread thread_;
};

int serve(const Options& options, FileDescriptor ready) {
  auto source = SourceFolder::open(options);
  if (!source) {
    complain(source.error());
    return 1;
  }
  if (!options.readOnly) ExpansionRecovery::run(source->descriptor->get());
  const std::string name = source->path;
  const sigset_t signals = endingSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  signal(SIGIO, SIG_IGN);  // what the end of a lease sends
  umask(0);
  if (chdir("/") != 0) return 1;

  Volume volume(options, std::move(*source), descriptorCapacity());
  volume.kernel.whenReady = [&ready] { announce(ready); };
  if (const auto mounted = volume.kernel.mount(options, name, Operations::table(), &volume); !mounted) {
    complain("cannot mount " + options.mountPoint.displayText() + ": " + mounted.error().text());
    return 1;
  }
  const SignalThread thread(volume.kernel);
  const auto served = volume.kernel.serve();
  return served ? 0 : 1;
}

}  // namespace

int run(std::span<const std::string> arguments) {
  auto options = Options::parse(arguments);
  if (!options) {
    const bool isHelp = options.error().empty();
    if (!isHelp) complain(options.error());
    (isHelp ? std::cout : std::cerr) << Options::usage;
    return isHelp ? 0 : 2;
  }
  // Relative paths would mean something else once the daemon has left its folder.
  for (FilePath* path : {&options->source, &options->mountPoint}) {
    if (!path->bytes().starts_with('/')) {
      std::array<char, PATH_MAX> folder{};
      if (getcwd(folder.data(), folder.size()) != nullptr) *path = FilePath(folder.data()).appending(path->bytes());
    }
  }
  if (options->foreground) return serve(*options, {});

  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return 1;
  FileDescriptor readEnd(ends[0]);
  FileDescriptor writeEnd(ends[1]);
  const pid_t child = fork();
  if (child < 0) return 1;
  if (child > 0) {
    writeEnd.reset();
    return waitUntilReady(child, readEnd);
  }
  readEnd.reset();
  setsid();
  return serve(*options, std::move(writeEnd));
}

}  // namespace quillbrook::VolumeProgram
