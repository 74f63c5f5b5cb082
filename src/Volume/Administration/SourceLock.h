// SPDX-License-Identifier: MIT
#pragma once

#include <expected>

#include "Platform/FilePath.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Volume/Administration/VolumeError.h"

namespace quillbrook {

// The lock that a daemon holds on its source for life, held by whoever changes a source without one.
class SourceLock {
 public:
  // Makes the private folder if need be. Served while anybody else holds it. `folder` is told in errors.
  [[nodiscard]] static std::expected<SourceLock, VolumeError> acquire(int source, const FilePath& folder);

  // Takes away what the lock stands in and everything there that is empty; false if something is left there.
  // Nobody can slip in: whoever waits for the lock finds that it has been taken away.
  [[nodiscard]] bool removePrivateFolder();

  // The private folder.
  [[nodiscard]] int privateFolder() const { return privateFolder_.get(); }

 private:
  SourceLock(int source, FileDescriptor privateFolder, FileDescriptor file);

  int source_;
  FileDescriptor privateFolder_;
  FileDescriptor file_;
};

}  // namespace quillbrook
