// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "Platform/ErrorNumber.h"
#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {

class KernelSession;

// An inode of the backing file systems, held by a descriptor. O_PATH, but for the source folder's: it counts neither as
// a reader nor as a writer, so it stands in the way of no lease.
class InodeDescriptor {
 public:
  explicit InodeDescriptor(FileDescriptor file) : file_(std::move(file)) {}
  ~InodeDescriptor();
  InodeDescriptor(const InodeDescriptor&) = delete;
  InodeDescriptor& operator=(const InodeDescriptor&) = delete;

  [[nodiscard]] int get() const { return file_.get(); }
  // The kernel's number for the inode as a backing file, asked for once and given back with the descriptor: an inode
  // that is opened again and again is registered once. The caller has the lock of the inode's node alone.
  [[nodiscard]] Result<std::int32_t> backingIdentifier(const KernelSession& kernel);

 private:
  FileDescriptor file_;
  const KernelSession* kernel_ = nullptr;  // that knows it as a backing file
  std::int32_t backingIdentifier_ = 0;
};

// Several may use it at once; the last one closes it.
using SharedDescriptor = std::shared_ptr<InodeDescriptor>;

}  // namespace quillbrook
