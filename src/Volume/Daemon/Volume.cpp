// SPDX-License-Identifier: MIT
#include "Volume/Daemon/Volume.h"

#include <unistd.h>

#include <utility>

namespace quillbrook {

Volume::Volume(Options chosen, SourceFolder folder, std::size_t descriptorCapacity)
    : options(std::move(chosen)),
      source(std::move(folder)),
      isPrivileged(geteuid() == 0),
      descriptors(descriptorCapacity),
      nodes(source.status, source.descriptor, descriptors),
      notifier(kernel) {}

off_t FileForm::byteCount(off_t raw) const {
  if (!state || isDamaged) return raw;
  if (state->isUnderConstruction()) return 0;
  return state->isSealed() ? static_cast<off_t>(state->logicalByteCount) : raw;
}

}  // namespace quillbrook
