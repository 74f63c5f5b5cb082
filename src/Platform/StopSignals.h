// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <memory>
#include <stop_token>

namespace quillbrook {

// Turns SIGINT and SIGTERM into a request to stop, for as long as it lives. At most one at a time in a process.
// Programs that are started meanwhile get the signals as usual. A signal that was ignored before stays ignored.
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;
  StopSignals(StopSignals&&) = delete;
  StopSignals& operator=(StopSignals&&) = delete;

  // Requested a moment after the first signal, from a thread of its own.
  [[nodiscard]] std::stop_token token() const;
  // The number of the first signal, 0 before it. Any thread; set before the token is.
  [[nodiscard]] static const std::atomic<int>& received();

 private:
  struct Waiter;
  std::unique_ptr<Waiter> waiter_;
};

}  // namespace quillbrook
