// SPDX-License-Identifier: MIT
#include "Platform/Linux/ReadLease.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <future>
#include <set>
#include <thread>
#include <utility>

#include "Platform/Linux/SystemCall.h"
#include "Platform/Mutex.h"

namespace quillbrook {
namespace {

// The kernel signals the holder when a writer comes. The signal goes to one thread of ours alone (F_SETOWN_EX), which
// has it blocked and waits for it: threads that were there before are not concerned, and no handler is needed.
class LeaseKeeper {
 public:
  // Never destroyed: its thread lives as long as the process.
  static LeaseKeeper& instance() {
    static auto* const keeper = new LeaseKeeper();
    return *keeper;
  }

  Result<void> take(int file) {
    const struct f_owner_ex owner{.type = F_OWNER_TID, .pid = thread()};
    if (::fcntl(file, F_SETOWN_EX, &owner) == -1 || ::fcntl(file, F_SETSIG, signalNumber()) == -1) {
      return SystemCall::failure();
    }
    const MutexLock guard(mutex_);
    if (SystemCall::retrying([&] { return ::fcntl(file, F_SETLEASE, F_RDLCK); }) == -1) return SystemCall::failure();
    files_.insert(file);
    return {};
  }

  void giveUp(int file) {
    const MutexLock guard(mutex_);
    files_.erase(file);
    // Fails where it has been given up before.
    ::fcntl(file, F_SETLEASE, F_UNLCK);
  }

 private:
  static int signalNumber() { return SIGRTMIN + 4; }

  // The thread's number; started at first, and again in a child process, where threads do not follow.
  pid_t thread() {
    const MutexLock guard(threadMutex_);
    if (process_ == ::getpid()) return thread_;
    {
      const MutexLock files(mutex_);
      files_.clear();  // leases of the parent
    }
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    // The thread is born with everything blocked: it must not take other signals of the process either.
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    std::promise<pid_t> number;
    auto started = number.get_future();
    std::thread([this, &number] {
      number.set_value(::gettid());
      run();
    }).detach();
    thread_ = started.get();
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    process_ = ::getpid();
    return thread_;
  }

  [[noreturn]] void run() {
    sigset_t wanted;
    ::sigemptyset(&wanted);
    ::sigaddset(&wanted, signalNumber());
    ::sigaddset(&wanted, SIGIO);  // comes instead when the queue of real-time signals is full
    for (;;) {
      if (::sigwaitinfo(&wanted, nullptr) == -1) continue;
      // Which file it was does not matter, and may have been closed by now: the kernel says which leases break.
      const MutexLock guard(mutex_);
      for (const int file : files_) {
        if (::fcntl(file, F_GETLEASE) == F_UNLCK) ::fcntl(file, F_SETLEASE, F_UNLCK);
      }
    }
  }

  Mutex threadMutex_;  // taken before mutex_, never while it is held
  pid_t process_ QB_GUARDED_BY(threadMutex_) = 0;
  pid_t thread_ QB_GUARDED_BY(threadMutex_) = 0;

  Mutex mutex_;
  std::set<int> files_ QB_GUARDED_BY(mutex_);  // with a lease, perhaps one that breaks
};

}  // namespace

Result<ReadLease> ReadLease::take(int file) {
  if (const auto taken = LeaseKeeper::instance().take(file); !taken) return std::unexpected(taken.error());
  return ReadLease(file);
}

ReadLease::ReadLease(ReadLease&& other) noexcept : file_(std::exchange(other.file_, -1)) {}

ReadLease::~ReadLease() {
  if (file_ != -1) LeaseKeeper::instance().giveUp(file_);
}

bool ReadLease::isHeld() const {
  return file_ != -1 && ::fcntl(file_, F_GETLEASE) == F_RDLCK;
}

}  // namespace quillbrook
