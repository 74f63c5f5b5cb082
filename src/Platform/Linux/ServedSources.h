// SPDX-License-Identifier: MIT
#pragma once

// The folders that volumes in this process's mount table take their content from. Any thread.
namespace quillbrook::ServedSources {

// Whether the open folder lies in one of them, by whatever mount it was reached. Reads the table only after a
// change; true where it cannot be read for the moment.
[[nodiscard]] bool contain(int folder);

}  // namespace quillbrook::ServedSources
