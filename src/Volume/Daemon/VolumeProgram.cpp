// SPDX-License-Identifier: MIT
#include "Volume/Daemon/VolumeProgram.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <optional>
#include <thread>
#include <utility>

#include "Platform/Linux/SystemCall.h"
#include "Volume/Daemon/Operations.h"
#include "Volume/Daemon/Options.h"
#include "Volume/Daemon/Volume.h"
#include "Volume/Daemon/VolumeLog.h"
#include "Volume/Expansion/ExpansionRecovery.h"

namespace quillbrook::VolumeProgram {

namespace {

void complain(const std::string& text) {
  std::cerr << "quillbrook-volume: " << text << '\n' << std::flush;
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
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (nowhere.isOpen()) dup2(nowhere.get(), standard);
  }
  const char byte = 0;
  const bool isHeard = SystemCall::retrying([&] { return write(ready.get(), &byte, 1); }) == 1;
  ready.reset();
  // Whoever wanted the mount has been stopped, and will tell that there is none.
  if (!isHeard) kill(getpid(), SIGTERM);
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
          for (;;) {
            siginfo_t signal{};
            if (sigwaitinfo(&signals, &signal) == -1) continue;
            if (signal.si_signo != SIGUSR1) {
              kernel.detach();
            } else if (signal.si_pid == getpid()) {
              return;
            }
          }
        }) {}
  ~SignalThread() {
    pthread_kill(thread_.native_handle(), SIGUSR1);
    thread_.join();
  }
  SignalThread(const SignalThread&) = delete;
  SignalThread& operator=(const SignalThread&) = delete;

 private:
  std::thread thread_;
};

int serve(const Options& options, FileDescriptor ready) {
  auto source = SourceFolder::open(options);
  if (!source) {
    complain(sentence(source.error()));
    return 1;
  }
  if (!options.readOnly) {
    const RecoveryOutcome recovery = ExpansionRecovery::run(source->descriptor->get());
    if (!recovery.failures.empty()) {
      complain(sentence(recovery));
      volumeLog.write(
          LogLevel::error, "%d of %d interrupted conversions could not be completed",
          {static_cast<std::int64_t>(recovery.found - recovery.settled), static_cast<std::int64_t>(recovery.found)});
    }
  }
  const sigset_t signals = endingSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  // SIGIO is what the end of a lease sends, SIGXFSZ a limit of the daemon's own: whoever asked for more is told that it
  // is too much. Of these signals it cannot fail.
  for (const int ignored : {SIGIO, SIGPIPE, SIGXFSZ}) {
    [[maybe_unused]] const auto former = signal(ignored, SIG_IGN);
  }
  umask(0);
  if (chdir("/") != 0) {
    const ErrorNumber reason{errno};
    complain("cannot go to the root folder: " + reason.text());
    return 1;
  }

  Volume volume(options, std::move(*source), descriptorCapacity());
  const auto mounted = volume.kernel.mount(volume, Operations::table(), [&ready] { announce(ready); });
  if (!mounted) {
    complain("cannot mount " + options.mountPoint.displayText() + ": " + mounted.error().text());
    return 1;
  }
  const SignalThread thread(volume.kernel);
  const auto served = volume.kernel.serve();
  if (served) {
    // Another user may be the next to mount it.
    if (volume.source.lock) volume.source.lock->removePrivateFolder();
    return 0;
  }
  complain("serving " + options.mountPoint.displayText() + " has ended: " + served.error().text());
  volumeLog.write(LogLevel::error, "serving has ended: %{public}s", {served.error().text()});
  return 1;
}

}  // namespace

int run(std::span<const std::string> arguments) {
  auto options = Options::parse(arguments);
  if (!options) {
    const bool isHelp = options.error().reason == OptionsError::Reason::helpWanted;
    if (!isHelp) complain(sentence(options.error()));
    (isHelp ? std::cout : std::cerr) << Options::usage;
    return isHelp ? 0 : 2;
  }
  // Relative paths would mean something else once the daemon has left its folder.
  for (FilePath* path : {&options->source, &options->mountPoint}) {
    if (!path->bytes().starts_with('/')) {
      std::array<char, PATH_MAX> folder{};
      if (getcwd(folder.data(), folder.size()) == nullptr) {
        const ErrorNumber reason{errno};
        complain("cannot tell what folder " + path->displayText() + " is in: " + reason.text());
        return 1;
      }
      *path = FilePath(folder.data()).appending(path->bytes());
    }
  }
  if (options->foreground) return serve(*options, {});

  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    const ErrorNumber reason{errno};
    complain("cannot go to the background: " + reason.text());
    return 1;
  }
  FileDescriptor readEnd(ends[0]);
  FileDescriptor writeEnd(ends[1]);
  const pid_t child = fork();
  if (child < 0) {
    const ErrorNumber reason{errno};
    complain("cannot go to the background: " + reason.text());
    return 1;
  }
  if (child > 0) {
    writeEnd.reset();
    return waitUntilReady(child, readEnd);
  }
  readEnd.reset();
  setsid();
  return serve(*options, std::move(writeEnd));
}

}  // namespace quillbrook::VolumeProgram
