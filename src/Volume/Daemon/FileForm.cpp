// SPDX-License-Identifier: MIT
#include "Volume/Daemon/FileForm.h"

#include "Platform/Linux/StoredState.h"

namespace quillbrook {

FileForm FileForm::of(int file) {
  const auto state = StoredState::read(file);
  return state ? FileForm{.state = *state, .isDamaged = false} : FileForm{.state = {}, .isDamaged = true};
}

FileForm FileForm::at(int folder, const char* name, const struct stat& status) {
  // Nothing shorter than a trailer can be a container, but one under construction reads as empty as it is.
  if (!S_ISREG(status.st_mode) || status.st_size < static_cast<off_t>(ContainerState::byteCount)) return {};
  const auto state = StoredState::readAt(folder, name);
  return state ? FileForm{.state = *state, .isDamaged = false} : FileForm{.state = {}, .isDamaged = true};
}

off_t FileForm::byteCount(off_t raw) const {
  if (!state || isDamaged) return raw;
  if (state->isUnderConstruction()) return 0;
  return state->isSealed() ? static_cast<off_t>(state->logicalByteCount) : raw;
}

}  // namespace quillbrook
