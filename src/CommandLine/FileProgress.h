// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace quillbrook {

// One file's part of what a run's bar shows. The engine may read a file more than once: only its own length counts.
// Belongs to the worker that has the file.
class FileProgress {
 public:
  // What the bar shows, in bytes. A file's part of `done` grows while it is read; one that needs no work leaves the
  // total instead. Any thread.
  struct Run {
    std::atomic<std::int64_t> done = 0;
    std::atomic<std::int64_t> total = 0;
  };

  FileProgress(Run& run, std::uint64_t size) : run_(run), size_(static_cast<std::int64_t>(size)) {}

  void add(std::size_t byteCount) {
    const std::int64_t before = shown();
    counted_ += static_cast<std::int64_t>(byteCount);
    run_.done += shown() - before;
  }
  void complete() { run_.done += size_ - shown(); }
  void withdraw() {
    run_.done -= shown();
    run_.total -= size_;
  }

 private:
  [[nodiscard]] std::int64_t shown() const { return std::min(counted_, size_); }

  Run& run_;
  std::int64_t size_;
  std::int64_t counted_ = 0;
};

}  // namespace quillbrook
