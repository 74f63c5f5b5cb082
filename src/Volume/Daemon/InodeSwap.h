// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include "Platform/Linux/VolumeProtocol.h"
#include "Volume/Daemon/Volume.h"

namespace quillbrook::InodeSwap {

// Puts the work file in the place of the target, both in `folder`, on behalf of `caller`; see VolumeProtocol. The
// target's node and its readers go on with the new inode. `busy` if somebody could be writing to the target, if the
// kernel reads it past the daemon, or if it is another file by now.
[[nodiscard]] Result<void> perform(Volume& volume, Node& folder, const VolumeProtocol::ReplaceRequest& request,
                                   uid_t caller);

}  // namespace quillbrook::InodeSwap
