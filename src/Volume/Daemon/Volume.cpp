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
      nodes(source.status, source.descriptor, descriptors) {}

}  // namespace quillbrook
