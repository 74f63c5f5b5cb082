// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/ErrorNumber.h"

namespace quillbrook {

// A read lease on an open file: while it holds, no program has the file open for writing. A program that opens it for
// writing is kept waiting by the kernel until the lease is given up, which one thread of this process does at once.
class ReadLease {
 public:
  // `file` is open for reading and stays open as long as the lease lives. `wouldBlock` while somebody has it open for
  // writing; EACCES, EINVAL or ENOLCK where the kernel grants none.
  [[nodiscard]] static Result<ReadLease> take(int file);

  ReadLease(ReadLease&& other) noexcept;
  ReadLease& operator=(ReadLease&&) = delete;
  ReadLease(const ReadLease&) = delete;
  ReadLease& operator=(const ReadLease&) = delete;
  ~ReadLease();

  // Asked of the kernel: false from the moment on at which a writer has come.
  [[nodiscard]] bool isHeld() const;

 private:
  explicit ReadLease(int file) : file_(file) {}

  int file_;  // -1: moved away
};

}  // namespace quillbrook
