// SPDX-License-Identifier: MIT
#include "App/HeadlessAutoRecompressRunner.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "Compression/FileCompressor.h"
#include "Discovery/FileSystemSearcher.h"
#include "Models/SecurityScopedBookmark.h"
#include "Models/StoreContext.h"
#include "Platform/ByteCountText.h"
#include "Platform/CancellableFileSystem.h"
#include "Platform/Log.h"
#include "Platform/SecurityScope.h"
#include "Registration/ItemKind.h"

namespace quillbrook {
namespace {

constexpr Log headlessLog{"headless"};

// A file that was changed so recently may be open in an editor.
constexpr std::int64_t editingGuardSeconds = 1'800;

// The format's limit: from here on there is no use in trying.
constexpr std::int64_t oversizedByteCount = 2'147'483'648;

// Whose business a refusal is, in a job that comes again and again.
enum class Refusal : std::uint8_t { nothingToDo, noGain, failure };

struct RefusalOf {
  Refusal operator()(const FileNotFound&) const { return Refusal::nothingToDo; }
  Refusal operator()(const NotARegularFile&) const { return Refusal::nothingToDo; }
  Refusal operator()(const SymbolicLink&) const { return Refusal::nothingToDo; }
  Refusal operator()(const HardLinked&) const { return Refusal::nothingToDo; }
  Refusal operator()(const AlreadyCompressed&) const { return Refusal::nothingToDo; }
  Refusal operator()(const FileInUse&) const { return Refusal::nothingToDo; }
  Refusal operator()(const FileChangedDuringOperation&) const { return Refusal::nothingToDo; }
  Refusal operator()(const CompressionDidNotReduceSize&) const { return Refusal::noGain; }
  Refusal operator()(const HasResourceFork&) const { return Refusal::noGain; }
  Refusal operator()(const NotCompressed&) const { return Refusal::failure; }
  Refusal operator()(const RoundtripVerificationFailed&) const { return Refusal::failure; }
  Refusal operator()(const FileTooLargeForFormat&) const { return Refusal::failure; }
  Refusal operator()(const TemporaryFileConflict&) const { return Refusal::failure; }
  Refusal operator()(const IOError&) const { return Refusal::failure; }
};

Refusal refusalOf(const EngineError& error) {
  const auto* refused = std::get_if<FileCompressionError>(&error);
  return refused == nullptr ? Refusal::failure : std::visit(RefusalOf{}, *refused);
}

// The error's plain form without its path, which is nobody else's business.
std::string reasonOf(const EngineError& error) {
  const auto* refused = std::get_if<FileCompressionError>(&error);
  if (refused == nullptr) return describe(error);
  const auto* failure = std::get_if<IOError>(refused);
  return failure == nullptr ? std::string(caseName(error)) : fmt::format("ioError({})", failure->detail);
}

double secondsBetween(Timestamp start, Timestamp end) {
  constexpr double nanosecondsPerSecond = 1e9;
  return static_cast<double>(end.seconds - start.seconds) +
         (static_cast<double>(end.nanoseconds) - static_cast<double>(start.nanoseconds)) / nanosecondsPerSecond;
}

}  // namespace

HeadlessAutoRecompressRunner::HeadlessAutoRecompressRunner(StoreContainer container, Surroundings surroundings)
    : container_(std::move(container)), surroundings_(std::move(surroundings)) {}

int HeadlessAutoRecompressRunner::run() {
  headlessLog.write(LogLevel::info, "--auto-recompress start");
  StoreContext context(container_);
  const auto rows = context.fetch<RegisteredItem>();
  if (!rows) {
    const std::string words = sentence(rows.error());
    surroundings_.err << "ERROR: 登録項目の読み込みに失敗しました: " << words << '\n';
    headlessLog.write(LogLevel::error, "auto-recompress fetch failed: %{public}s", {words});
    return 1;
  }
  surroundings_.out << "[Quillbrook] --auto-recompress: 登録項目 " << rows->size() << " 件を走査します\n" << std::flush;
  const Timestamp start = surroundings_.now();
  cutoff_ = {.seconds = start.seconds - editingGuardSeconds, .nanoseconds = start.nanoseconds};
  for (const auto& row : *rows) runItem(row.record);
  if (wasStopped_) {
    headlessLog.write(LogLevel::standard, "--auto-recompress stopped");
    return counters_.failed > 0 ? 1 : 0;
  }
  printSummary(secondsBetween(start, surroundings_.now()));
  headlessLog.write(LogLevel::info, "--auto-recompress done: candidates=%d succeeded=%d failed=%d saved=%d",
                    {counters_.candidates, counters_.succeeded, counters_.failed, counters_.savedBytes});
  return counters_.failed > 0 ? 1 : 0;
}

bool HeadlessAutoRecompressRunner::mustStop() {
  wasStopped_ = wasStopped_ || surroundings_.stop.stop_requested();
  return wasStopped_;
}

void HeadlessAutoRecompressRunner::runItem(const RegisteredItem& item) {
  if (mustStop()) return;
  const auto place = SecurityScopedBookmark::resolve(item.bookmark);
  if (!place) {
    headlessLog.write(LogLevel::standard, "bookmark resolve failed for %{private}s", {item.displayName.bytes()});
    return;
  }
  SecurityScope scope;
  const bool isAccessed = scope.start(place->url);
  for (const FilePath& file : filesOf(item, place->url)) {
    if (mustStop()) break;
    if (mayTouch(file)) compress(file);
  }
  if (isAccessed) scope.stop();
}

std::vector<FilePath> HeadlessAutoRecompressRunner::filesOf(const RegisteredItem& item, const FilePath& url) {
  if (item.kind != rawValue(ItemKind::folder)) return {url};
  const SearchCriteria criteria{.rootURL = url,
                                .recursive = item.includeSubfolders,
                                .modifiedBefore = cutoff_,
                                .minSize = std::nullopt,
                                .maxSize = std::nullopt,
                                .extensionFilter = std::nullopt,
                                .excludeAlreadyCompressed = true,
                                .excludeHidden = true};
  const FileSystemSearcher searcher{FileSystemSearcher::standardCompressionChecker(surroundings_.fileSystem)};
  auto found = searcher.search(criteria, surroundings_.stop);
  if (!found) {
    headlessLog.write(LogLevel::standard, "search failed for %{private}s: %{public}s",
                      {item.displayName.bytes(), std::string(caseName(found.error()))});
    wasStopped_ = wasStopped_ || std::holds_alternative<Cancelled>(found.error());
    return {};
  }
  std::vector<FilePath> files;
  files.reserve(found->size());
  for (FileCandidate& candidate : *found) files.push_back(std::move(candidate.url));
  return files;
}

// What cannot be looked at here the engine tells of.
bool HeadlessAutoRecompressRunner::mayTouch(const FilePath& file) const {
  const auto status = surroundings_.fileSystem.lstat(file);
  if (!status) return true;
  if (status->st_mtimespec > cutoff_) {
    headlessLog.write(LogLevel::debug, "skip recently modified: %{private}s", {file.bytes()});
    return false;
  }
  if (status->st_size >= oversizedByteCount) {
    headlessLog.write(LogLevel::debug, "skip oversized: %{private}s", {file.bytes()});
    return false;
  }
  return true;
}

void HeadlessAutoRecompressRunner::compress(const FilePath& file) {
  ++counters_.candidates;
  CancellableFileSystem fileSystem(surroundings_.fileSystem, surroundings_.stop);
  const auto result = FileCompressor::compress(file, FileCompressor::defaultStreamingThreshold, nullptr, fileSystem);
  if (result) {
    ++counters_.succeeded;
    counters_.savedBytes += std::max<std::int64_t>(result->bytesBefore - result->bytesAfter, 0);
    return;
  }
  if (fileSystem.hasRefused()) {
    wasStopped_ = true;
    return;
  }
  switch (refusalOf(result.error())) {
    case Refusal::nothingToDo: ++counters_.skippedAlreadyCompressed; break;
    case Refusal::noGain: ++counters_.skippedNoShrink; break;
    case Refusal::failure:
      ++counters_.failed;
      headlessLog.write(LogLevel::error, "compress failed: %{private}s — %{public}s",
                        {file.bytes(), reasonOf(result.error())});
      break;
  }
}

void HeadlessAutoRecompressRunner::printSummary(double seconds) const {
  surroundings_.out << fmt::format(
                           "[Quillbrook] --auto-recompress 完了: 走査 {} 件 / 成功 {} / 失敗 {} / 既圧縮スキップ {} / "
                           "縮まずスキップ {} / 削減 {} / 所要 {:.1f} 秒\n",
                           counters_.candidates, counters_.succeeded, counters_.failed,
                           counters_.skippedAlreadyCompressed, counters_.skippedNoShrink,
                           ByteCountText::fileStyle(counters_.savedBytes), seconds)
                    << std::flush;
}

}  // namespace quillbrook
