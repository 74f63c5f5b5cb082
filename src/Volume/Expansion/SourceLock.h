// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/ErrorNumber.h"
#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {

// The lock on a volume's source: a daemon holds it for as long as it serves the source, and so does whoever changes
// the source without one. Ends with its process, however that ends. Belongs to one thread at a time.
class SourceLock {
 public:
  // Makes the private folder if need be. `source` is a descriptor of the source folder that outlives the lock.
  // `wouldBlock` while anybody else holds it; else the errors of making and opening the lock.
  [[nodiscard]] static Result<SourceLock> acquire(int source);

  // Takes away what the lock stands in, as far as it is empty. Nobody can slip in: whoever waits for the lock finds
  // that it has been taken away.
  void removePrivateFolder() const;

  // The private folder.
  [[nodiscard]] int privateFolder() const { return privateFolder_.get(); }

 private:
  SourceLock(int source, FileDescriptor privateFolder, FileDescriptor file);

  int source_;
  FileDescriptor privateFolder_;
  FileDescriptor file_;
};

}  // namespace quillbrook
