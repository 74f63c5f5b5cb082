// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "Platform/FilePath.h"

namespace quillbrook {

// While it lives, the folder counts as a volume mounted in place within this process, so that UF_COMPRESSED can be set
// beneath it without a daemon: for tests. Lock and swap work as outside a volume.
class VolumeRegistration {
 public:
  // `folder` must exist.
  explicit VolumeRegistration(const FilePath& folder);
  ~VolumeRegistration();
  VolumeRegistration(const VolumeRegistration&) = delete;
  VolumeRegistration& operator=(const VolumeRegistration&) = delete;

 private:
  std::string canonicalPath_;
};

}  // namespace quillbrook
