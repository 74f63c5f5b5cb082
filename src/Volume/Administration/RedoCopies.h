// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Platform/ErrorNumber.h"

// The redo copies in a volume's private folder, whether some file's state names them or not. Any thread; errors as of
// opening and reading the folder.
namespace quillbrook::RedoCopies {

// Their numbers; none if there is no such folder. `source` is a descriptor of the source folder. Creates nothing.
[[nodiscard]] Result<std::vector<std::uint32_t>> list(int source);

// The inode of the file that the copy was made for; nothing for one that was not finished, which no state can name.
[[nodiscard]] Result<std::optional<std::uint64_t>> record(int source, std::uint32_t identifier);

// Whether an open file, which names no copy, holds what the copy does; one that is gone by now is missed by nobody.
[[nodiscard]] Result<bool> isHeldBy(int file, int source, std::uint32_t identifier);

// Takes one away. Nobody's state may name it.
[[nodiscard]] Result<void> remove(int source, std::uint32_t identifier);

}  // namespace quillbrook::RedoCopies
