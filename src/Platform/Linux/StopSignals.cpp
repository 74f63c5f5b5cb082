// SPDX-License-Identifier: MIT
#include "Platform/StopSignals.h"

#include <semaphore.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <thread>

namespace quillbrook {
namespace {

constexpr std::array<int, 2> signals{SIGINT, SIGTERM};

// A handler reaches nothing but globals, and may call next to nothing: it notes the number and wakes the waiter.
// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables)
std::atomic<int> firstSignal = 0;
static_assert(std::atomic<int>::is_always_lock_free);
sem_t wakeUp;
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

void handle(int signal) {
  const int errorNumber = errno;
  int none = 0;
  firstSignal.compare_exchange_strong(none, signal);
  ::sem_post(&wakeUp);
  errno = errorNumber;
}

}  // namespace

struct StopSignals::Waiter {
  std::stop_source source;
  std::array<struct sigaction, signals.size()> previous{};
  std::jthread thread;
};

StopSignals::StopSignals() : waiter_(std::make_unique<Waiter>()) {
  firstSignal = 0;
  ::sem_init(&wakeUp, 0, 0);
  waiter_->thread = std::jthread([source = waiter_->source] mutable {
    while (::sem_wait(&wakeUp) != 0) {
    }
    if (firstSignal != 0) source.request_stop();
  });
  struct sigaction action{};
  action.sa_handler = handle;
  action.sa_flags = SA_RESTART;
  for (std::size_t i = 0; i < signals.size(); ++i) {
    ::sigaction(signals[i], nullptr, &waiter_->previous[i]);
    // Whoever started the process wants it to go on, as a shell does with what runs in the background.
    if (waiter_->previous[i].sa_handler != SIG_IGN) ::sigaction(signals[i], &action, nullptr);
  }
}

StopSignals::~StopSignals() {
  for (std::size_t i = 0; i < signals.size(); ++i) ::sigaction(signals[i], &waiter_->previous[i], nullptr);
  ::sem_post(&wakeUp);
  waiter_->thread.join();
  ::sem_destroy(&wakeUp);
}

std::stop_token StopSignals::token() const {
  return waiter_->source.get_token();
}

const std::atomic<int>& StopSignals::received() {
  return firstSignal;
}

}  // namespace quillbrook
