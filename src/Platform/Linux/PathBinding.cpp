// SPDX-License-Identifier: MIT
#include "Platform/Linux/PathBinding.h"

#include <unordered_map>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook::PathBinding {
namespace {

std::unordered_map<FilePath, InodeNumber>& bindings() {
  thread_local std::unordered_map<FilePath, InodeNumber> ofThisThread;
  return ofThisThread;
}

}  // namespace

void bind(const FilePath& path, InodeNumber inode) {
  bindings().insert_or_assign(path, inode);
}

void unbind(const FilePath& path) {
  bindings().erase(path);
}

std::optional<InodeNumber> find(const FilePath& path) {
  const auto found = bindings().find(path);
  if (found == bindings().end()) return std::nullopt;
  return found->second;
}

bool allows(const FilePath& path, int inode) {
  const auto bound = find(path);
  if (!bound) return true;
  const auto status = SystemCall::status(inode);
  return status && InodeNumber::of(*status) == *bound;
}

}  // namespace quillbrook::PathBinding
