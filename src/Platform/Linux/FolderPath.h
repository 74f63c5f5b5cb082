// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Platform/Linux/FileDescriptor.h"

// Places of files and folders, compared as bytes. Any thread.
namespace quillbrook::FolderPath {

// Absolute, without links, "." and "..", as the mount table writes it. Also of a folder whose mount has lost its
// daemon, since only what lies above it is asked. The last part need not exist; an empty path is `noEntry`. Errors as
// of realpath(3).
[[nodiscard]] Result<FilePath> resolve(const FilePath& folder);

// Where the kernel says that what `descriptor` has open lies now, in the same form; also of one opened with O_PATH.
// " (deleted)" stands behind the last place of what has no name any more. `noEntry` for what lies in no folder, as a
// pipe, or outside this process's root.
[[nodiscard]] Result<FilePath> of(int descriptor);

// The folder above an open one, with O_PATH; `noEntry` for the root.
[[nodiscard]] Result<FileDescriptor> openAbove(int folder);

// "b/c" for "/a/b/c" in "/a", "." for the folder itself, nothing for what is not in it. Both as resolve() gives them.
[[nodiscard]] std::optional<std::string> beneath(std::string_view folder, std::string_view path);

// Whether `inner` is `outer` or lies in it. Both as resolve() gives them.
[[nodiscard]] bool contains(const FilePath& outer, const FilePath& inner);

}  // namespace quillbrook::FolderPath
