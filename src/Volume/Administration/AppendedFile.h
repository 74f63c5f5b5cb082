// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Platform/ErrorNumber.h"

// Where the bytes go that somebody appended to a container: a file NAME.appended beside it.
namespace quillbrook::AppendedFile {

struct Surplus {
  int file = -1;             // open for reading
  std::uint64_t offset = 0;  // where it begins
  std::uint64_t byteCount = 0;
};

// Keeps the surplus of the file `name` in `folder` and returns the name of the file that has it now, on disk when this
// returns. Another file of that name stays and the next one is taken, NAME.appended.1 and so on; but one that holds
// these very bytes is the work of an earlier run and serves. `workFolder` is on the same file system and private.
// Owner, permissions without execution, and times are the file's own. Errors as of the calls; then nothing is left
// behind. Any thread, one call at a time in one `workFolder`.
[[nodiscard]] Result<std::string> keep(int folder, std::string_view name, const Surplus& surplus, int workFolder);

}  // namespace quillbrook::AppendedFile
