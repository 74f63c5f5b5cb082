// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <expected>
#include <mutex>
#include <optional>
#include <utility>

namespace quillbrook {

enum class QueueWait : std::uint8_t { timedOut, ended };

// Hands values from any number of threads to any number of others, a limited number at once: who is too fast waits.
// So a tree of any size flows through in the memory of a few entries.
template <typename T>
class BoundedQueue {
 public:
  explicit BoundedQueue(std::size_t capacity) : capacity_(capacity) {}

  // Waits for room. Must not be called after end().
  void push(T value) {
    std::unique_lock lock(mutex_);
    room_.wait(lock, [&] { return values_.size() < capacity_; });
    values_.push_back(std::move(value));
    lock.unlock();
    news_.notify_one();
  }

  // Nothing more will be pushed: who waits for values gets what is left, then `ended`.
  void end() {
    {
      const std::lock_guard lock(mutex_);
      ended_ = true;
    }
    news_.notify_all();
  }

  // Waits for a value; nothing once the queue has ended and is empty.
  std::optional<T> pop() {
    std::unique_lock lock(mutex_);
    news_.wait(lock, [&] { return !values_.empty() || ended_; });
    if (values_.empty()) return std::nullopt;
    return take(lock);
  }

  // The same, but waits no longer than `patience`.
  std::expected<T, QueueWait> popWithin(std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    if (!news_.wait_for(lock, patience, [&] { return !values_.empty() || ended_; })) {
      return std::unexpected(QueueWait::timedOut);
    }
    if (values_.empty()) return std::unexpected(QueueWait::ended);
    return take(lock);
  }

 private:
  T take(std::unique_lock<std::mutex>& lock) {
    T value = std::move(values_.front());
    values_.pop_front();
    lock.unlock();
    room_.notify_one();
    return value;
  }

  const std::size_t capacity_;
  std::mutex mutex_;  // guards what follows
  std::condition_variable room_;
  std::condition_variable news_;
  std::deque<T> values_;
  bool ended_ = false;
};

}  // namespace quillbrook
