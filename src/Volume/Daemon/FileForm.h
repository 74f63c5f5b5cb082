// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <optional>

#include "Container/ContainerState.h"

namespace quillbrook {

// In which form a file's content stands.
struct FileForm {
  std::optional<ContainerState> state;
  bool isDamaged = false;  // a state is there, but cannot be read

  [[nodiscard]] static FileForm of(int file);
  // Of what stands at `name` in a folder.
  [[nodiscard]] static FileForm at(int folder, const char* name, const struct stat& status);

  // Whether the inode's own bytes are its content.
  [[nodiscard]] bool isOrdinary() const {
    return !isDamaged && (!state || (!state->isSealed() && !state->isUnderConstruction()));
  }
  // The size that programs see.
  [[nodiscard]] off_t byteCount(off_t raw) const;
};

}  // namespace quillbrook
