// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <functional>
#include <stop_token>
#include <vector>

#include "Discovery/FileCandidate.h"
#include "Discovery/FileSystemSearchError.h"
#include "Discovery/SearchCriteria.h"
#include "Discovery/SearchProgress.h"
#include "Platform/DirectoryEnumerator.h"
#include "Platform/FilePath.h"
#include "Platform/FileStatus.h"
#include "Platform/FileSystem.h"
#include "Platform/OpenEnumerator.h"

namespace quillbrook {

// Finds files below a folder. Enters no package, lists no links and no work files.
struct FileSystemSearcher {
  // Whether a regular file is compressed, given what the walk knows of it. Asked in the walking thread.
  using CompressionChecker = std::function<bool(const FilePath&, const FileStatus&)>;
  using OnMatch = std::function<void(const FileCandidate&)>;
  using OnProgress = std::function<void(const SearchProgress&)>;

  CompressionChecker compressionChecker = standardCompressionChecker();

  // Asks the inspector about files that the status says are compressed, nobody about the rest. What cannot be
  // inspected is not compressed.
  [[nodiscard]] static CompressionChecker standardCompressionChecker(FileSystem& fileSystem = FileSystem::native());

  // What matches, in the order of the walk. Entries that cannot be read are passed over. `onMatch` hears of every match
  // at once, `onProgress` after every hundredth entry and at the end; both are called in this thread, which waits for
  // them. Blocks until it is done or, between two entries, `stop` is requested.
  [[nodiscard]] std::expected<std::vector<FileCandidate>, FileSystemSearchError> search(
      const SearchCriteria& criteria, const std::stop_token& stop, const OnMatch& onMatch = {},
      const OnProgress& onProgress = {}, const OpenEnumerator& open = DirectoryEnumerator::open) const;
};

}  // namespace quillbrook
