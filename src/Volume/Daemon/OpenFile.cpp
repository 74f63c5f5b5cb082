// SPDX-License-Identifier: MIT
#include "Volume/Daemon/OpenFile.h"

#include <utility>

namespace quillbrook {

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
  idle_.push_back(std::move(scratch));
  return count;
}

}  // namespace quillbrook
