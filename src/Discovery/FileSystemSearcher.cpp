// SPDX-License-Identifier: MIT
#include "Discovery/FileSystemSearcher.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <variant>

#include "Compression/FileCompressionInspector.h"
#include "Platform/ReservedNames.h"
#include "Platform/StatFlags.h"
#include "Registration/PackageDetector.h"
#include "Registration/PackageTraversalPolicy.h"
#include "Registration/PlaceKind.h"

namespace quillbrook {
namespace {

using Entry = DirectoryEnumerator::Entry;

constexpr std::size_t entriesPerProgress = 100;

bool isBarredPackage(const Entry& entry) {
  return PackageTraversalPolicy::shouldSkipDescendants(entry.path, PackageDetector::isPackage(entry.path, entry.kind));
}

bool isWorkFile(const Entry& entry) {
  return entry.kind == FileKind::regular && ReservedNames::isWorkFileName(entry.path.name());
}

// The entry that was given last, if it is a regular file, still.
std::optional<FileCandidate> candidateOf(const Entry& entry, DirectoryEnumerator& entries,
                                         const FileSystemSearcher::CompressionChecker& isCompressed) {
  if (entry.kind != FileKind::regular) return std::nullopt;
  const auto status = entries.status();
  if (!status || status->kind != FileKind::regular) return std::nullopt;
  return FileCandidate{.url = entry.path,
                       .size = static_cast<std::uint64_t>(std::max(status->st_size, std::int64_t{0})),
                       .modificationDate = status->st_mtimespec,
                       .isHidden = entry.path.name().starts_with('.'),
                       .isAlreadyCompressed = isCompressed(entry.path, *status)};
}

}  // namespace

FileSystemSearcher::CompressionChecker FileSystemSearcher::standardCompressionChecker(FileSystem& fileSystem) {
  return [&fileSystem](const FilePath& url, const FileStatus& status) {
    if ((status.st_flags & UF_COMPRESSED) == 0) return false;
    const auto info = FileCompressionInspector::inspect(url, status, fileSystem);
    return info && std::holds_alternative<Compressed>(info->status);
  };
}

std::expected<std::vector<FileCandidate>, FileSystemSearchError> FileSystemSearcher::search(
    const SearchCriteria& criteria, const std::stop_token& stop, const OnMatch& onMatch, const OnProgress& onProgress,
    const OpenEnumerator& open) const {
  using Depth = DirectoryEnumerator::Depth;
  if (stop.stop_requested()) return std::unexpected(Cancelled{});
  const auto entries = open(criteria.rootURL, criteria.recursive ? Depth::recursive : Depth::direct);
  if (!entries) {
    if (PlaceKind::isMissing(criteria.rootURL)) return std::unexpected(RootNotFound{criteria.rootURL});
    return std::unexpected(RootNotADirectory{criteria.rootURL});
  }
  std::vector<FileCandidate> matches;
  std::size_t scanned = 0;
  const auto tellProgress = [&] {
    if (onProgress) onProgress({.scanned = scanned, .matched = matches.size()});
  };
  // What was left out is not asked for: a search offers what it can see.
  while (const auto entry = (*entries)->next()) {
    if (stop.stop_requested()) return std::unexpected(Cancelled{});
    if (isBarredPackage(*entry)) {
      (*entries)->skipDescendants();
      continue;
    }
    if (isWorkFile(*entry)) continue;
    ++scanned;
    if (auto candidate = candidateOf(*entry, **entries, compressionChecker);
        candidate && criteria.matches(*candidate)) {
      matches.push_back(*std::move(candidate));
      if (onMatch) onMatch(matches.back());
    }
    if (scanned % entriesPerProgress == 0) tellProgress();
  }
  tellProgress();
  return matches;
}

}  // namespace quillbrook
