// SPDX-License-Identifier: MIT
#include "CommandLine/PlaceContents.h"

#include <expected>
#include <variant>

#include "Compression/FileCompressionInspector.h"
#include "Platform/ReservedNames.h"
#include "Registration/PackageDetector.h"
#include "Registration/PackageTraversalPolicy.h"

namespace quillbrook {
namespace {

constexpr std::uint64_t leastWorthwhile = 4'096;
constexpr std::uint64_t formatLimit = 2'147'483'647;

void add(PlaceContents& contents, const std::expected<FileCompressionInfo, FileCompressionInspectionError>& info) {
  // One that vanished since the walk saw it is not there.
  if (!info && std::holds_alternative<FileNotFound>(info.error())) return;
  ++contents.files;
  if (!info) {
    ++contents.unreadable;
    return;
  }
  contents.logicalSize += info->logicalSize;
  contents.physicalSize += info->physicalSize;
  if (std::holds_alternative<Compressed>(info->status)) {
    ++contents.compressed;
    if (info->logicalSize > info->physicalSize) contents.saved += info->logicalSize - info->physicalSize;
  } else if (std::holds_alternative<Uncompressed>(info->status)) {
    const bool isTried = info->logicalSize >= leastWorthwhile && info->logicalSize <= formatLimit;
    contents.compressable += isTried ? 1U : 0U;
  }
}

}  // namespace

Result<PlaceContents> PlaceContents::of(const FilePath& place, ItemKind kind, bool includeSubfolders,
                                        FileSystem& fileSystem, const OpenEnumerator& open,
                                        const std::stop_token& stop) {
  using Depth = DirectoryEnumerator::Depth;
  PlaceContents contents;
  if (kind == ItemKind::file) {
    const auto status = fileSystem.lstat(place);
    if (!status) return std::unexpected(status.error());
    if (status->kind == FileKind::regular) add(contents, FileCompressionInspector::inspect(place, *status, fileSystem));
    return contents;
  }
  const auto entries = open(place, includeSubfolders ? Depth::recursive : Depth::direct);
  if (!entries) return std::unexpected(entries.error());
  while (const auto entry = stop.stop_requested() ? std::nullopt : (*entries)->next()) {
    const bool isPackage = PackageDetector::isPackage(entry->path, entry->kind);
    if (PackageTraversalPolicy::shouldSkipDescendants(entry->path, isPackage)) (*entries)->skipDescendants();
    if (entry->kind != FileKind::regular || ReservedNames::isWorkFileName(entry->path.name())) continue;
    const auto status = (*entries)->status();
    add(contents, status ? FileCompressionInspector::inspect(entry->path, *status, fileSystem)
                         : FileCompressionInspector::inspect(entry->path, fileSystem));
  }
  while (const auto omission = (*entries)->takeOmission()) contents.unreadable += omission->error ? 1U : 0U;
  return contents;
}

}  // namespace quillbrook
