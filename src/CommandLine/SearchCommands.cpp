// SPDX-License-Identifier: MIT
#include "CommandLine/SearchCommands.h"

#include <fmt/format.h>

#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>

#include "CommandLine/ExitCode.h"
#include "CommandLine/OpeningFailure.h"
#include "CommandLine/PathText.h"
#include "CommandLine/PlacePath.h"
#include "CommandLine/RegistryLines.h"
#include "CommandLine/SizeText.h"
#include "Discovery/ExtensionCategory.h"
#include "Discovery/FileSystemSearcher.h"
#include "Discovery/StarString.h"
#include "Platform/DateText.h"
#include "Platform/DirectoryEnumerator.h"
#include "Registration/FolderFileCounter.h"
#include "Registration/PlaceKind.h"

namespace quillbrook::SearchCommands {
namespace {

int fail(const FilePath& folder, std::string_view verb, std::string_view words, Io& io) {
  io.err << fmt::format("quillbrookctl: cannot {} {}: {}\n", verb, PathText::shown(folder, io.errIsTerminal), words);
  return ExitCode::failed;
}

// Why the folder cannot be walked, before that is tried. Something that is no folder's entry is not there.
std::optional<std::string> obstacle(const FilePath& folder, const Io& io) {
  const auto entries = io.openEnumerator(folder, DirectoryEnumerator::Depth::direct);
  if (entries) return std::nullopt;
  return OpeningFailure::sentence(PlaceKind::isMissing(folder) ? ErrorNumber::noEntry : entries.error());
}

std::string searchLine(const FileCandidate& candidate, bool onTerminal) {
  const std::string date = DateText::localText(candidate.modificationDate);
  const int stars = starsForCategory(categoryForExtension(candidate.url.extension()));
  return fmt::format("{:>9}  {}  {}  {}\n", SizeText::text(static_cast<std::int64_t>(candidate.size)), date,
                     starString(stars), PathText::shown(candidate.url, onTerminal));
}

}  // namespace

int run(const SearchCommand& command, Io& io) {
  SearchForm form = command.form;
  const auto root = placePath(form.rootURL);
  if (!root) return fail(form.rootURL, "search", OpeningFailure::sentence(root.error()), io);
  if (const auto words = obstacle(*root, io)) return fail(*root, "search", *words, io);
  form.rootURL = *root;
  // A reader that is gone, as head(1), wants no more.
  std::stop_source ending;
  const std::stop_callback onSignal(io.stop, [&ending] { ending.request_stop(); });
  SearchProgress result;
  const FileSystemSearcher searcher{FileSystemSearcher::standardCompressionChecker(io.fileSystem)};
  const auto found = searcher.search(
      form.criteria(io.currentTime()), ending.get_token(),
      [&](const FileCandidate& candidate) {
        io.out << (command.json ? RegistryLines::candidate(candidate) + '\n' : searchLine(candidate, io.outIsTerminal));
        if (!io.out) ending.request_stop();
      },
      [&](const SearchProgress& progress) { result = progress; }, io.openEnumerator);
  if (io.stop.stop_requested()) return ExitCode::signalBase + io.stopSignal;
  if (!io.out) return ExitCode::failed;
  if (!found) return fail(form.rootURL, "search", describe(found.error()), io);
  if (command.json) {
    io.out << RegistryLines::searchSummary(result) << '\n';
  } else {
    io.err << fmt::format("{} of {} entries match\n", result.matched, result.scanned);
  }
  return ExitCode::done;
}

int run(const CountCommand& command, Io& io) {
  const auto url = placePath(command.folder);
  if (!url) return fail(command.folder, "count", OpeningFailure::sentence(url.error()), io);
  if (const auto words = obstacle(*url, io)) return fail(*url, "count", *words, io);
  const auto files = FolderFileCounter::count(*url, command.includeSubfolders, io.stop, io.openEnumerator);
  if (io.stop.stop_requested()) return ExitCode::signalBase + io.stopSignal;
  if (!files) return fail(*url, "count", describe(files.error()), io);
  if (command.json) {
    io.out << RegistryLines::count(*url, command.includeSubfolders, *files) << '\n';
  } else {
    io.out << *files << '\n';
  }
  return ExitCode::done;
}

}  // namespace quillbrook::SearchCommands
