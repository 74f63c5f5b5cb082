// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/ErrorNumber.h"

namespace quillbrook::DataSync {

// Returns once a rename that follows can no longer reach the disk before the file's content does. `file` is open for
// reading or writing. On ext4 with a journal and on xfs it is enough to wait for the data themselves: both put size
// and extents into the journal before a page counts as written, and so before the rename. Elsewhere it is fdatasync.
[[nodiscard]] Result<void> waitForData(int file);

}  // namespace quillbrook::DataSync
