// SPDX-License-Identifier: MIT
#include "Codec/GuardedBuffer.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace quillbrook {

GuardedBuffer::GuardedBuffer(std::size_t size, Against against) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t inner = (size + page - 1) / page * page;
  void* const place = mmap(nullptr, inner + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (place == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
  mapping_ = {static_cast<std::uint8_t*>(place), inner + 2 * page};
  if (inner != 0 && mprotect(&mapping_[page], inner, PROT_READ | PROT_WRITE) != 0) {
    throw std::system_error(errno, std::generic_category(), "mprotect");
  }
  bytes_ = mapping_.subspan(against == Against::start ? page : page + inner - size, size);
}

GuardedBuffer::GuardedBuffer(std::span<const std::uint8_t> content, Against against)
    : GuardedBuffer(content.size(), against) {
  std::ranges::copy(content, bytes_.begin());
}

GuardedBuffer::~GuardedBuffer() {
  munmap(mapping_.data(), mapping_.size());
}

}  // namespace quillbrook
