// SPDX-License-Identifier: MIT
#include "Platform/Linux/AttributeSpace.h"

#include <cerrno>
#include <mutex>
#include <set>
#include <utility>

namespace quillbrook::AttributeSpace {
namespace {

struct Memory {
  std::mutex mutex;
  std::set<std::pair<std::uint64_t, std::uint64_t>> files;
};

Memory& memory() {
  static Memory instance;
  return instance;
}

}  // namespace

bool isWantOfSpace(ErrorNumber error) {
  return error.value == ENOSPC || error.value == EDQUOT || error.value == E2BIG;
}

void remember(std::uint64_t device, std::uint64_t inode) {
  const std::lock_guard guard(memory().mutex);
  memory().files.emplace(device, inode);
}

bool isEmpty() {
  const std::lock_guard guard(memory().mutex);
  return memory().files.empty();
}

bool wasExhausted(std::uint64_t device, std::uint64_t inode) {
  const std::lock_guard guard(memory().mutex);
  return memory().files.contains({device, inode});
}

void forget(std::uint64_t device, std::uint64_t inode) {
  const std::lock_guard guard(memory().mutex);
  memory().files.erase({device, inode});
}

}  // namespace quillbrook::AttributeSpace
