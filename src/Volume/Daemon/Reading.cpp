// SPDX-License-Identifier: MIT
#include "Volume/Daemon/Reading.h"

#include <utility>

namespace quillbrook {

namespace {

// A scratch grows to some 1 MiB. Two serve a sequential reader, whose requests come in pairs; more readers at once
// make new ones, which go again: how many files are open must not decide how much memory is held.
constexpr std::size_t idleMaximum = 2;

}  // namespace

Result<std::size_t> Reading::read(std::uint64_t offset, std::span<std::uint8_t> destination) {
  ContainerReader::Scratch scratch = [&] {
    const MutexLock lock(mutex_);
    if (idle_.empty()) return ContainerReader::Scratch();
    ContainerReader::Scratch taken = std::move(idle_.back());
    idle_.pop_back();
    return taken;
  }();
  auto count = file_->read(offset, destination, scratch);
  const MutexLock lock(mutex_);
  if (idle_.size() < idleMaximum) idle_.push_back(std::move(scratch));
  return count;
}

}  // namespace quillbrook
