// SPDX-License-Identifier: MIT
#include "CommandLine/RegistryCommands.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "CommandLine/Adding.h"
#include "CommandLine/ExitCode.h"
#include "CommandLine/OpeningFailure.h"
#include "CommandLine/PathText.h"
#include "CommandLine/PlaceContents.h"
#include "CommandLine/PlacePath.h"
#include "CommandLine/RegisteredPlace.h"
#include "CommandLine/RegistryLines.h"
#include "CommandLine/SizeText.h"
#include "Models/StoreContext.h"
#include "Registration/ItemKind.h"

namespace quillbrook::RegistryCommands {
namespace {

std::optional<StoreContainer> openStore(Io& io) {
  auto container = io.openStore();
  if (container) return *std::move(container);
  io.err << "quillbrookctl: " << PathText::shownMessage(sentence(container.error()), io.errIsTerminal) << '\n';
  return std::nullopt;
}

int storeFailed(const StoreError& error, Io& io) {
  io.err << "quillbrookctl: " << PathText::shownMessage(sentence(error), io.errIsTerminal) << '\n';
  return ExitCode::failed;
}

// The items that a name stands for: a place's, or one's by its identifier.
std::vector<const RegisteredPlace*> namedPlaces(const FilePath& named, const std::vector<RegisteredPlace>& places) {
  const auto url = placePath(named);
  std::vector<const RegisteredPlace*> found;
  for (const RegisteredPlace& place : places) {
    if ((url && place.url == *url) || place.item.id.text() == named.bytes()) found.push_back(&place);
  }
  return found;
}

void printPlace(const RegisteredPlace& place, const Result<PlaceContents>& contents, Io& io) {
  io.out << PathText::shown(place.url, io.outIsTerminal);
  if (place.failure == ErrorNumber::noEntry) {
    io.out << fmt::format("  (not to be found any more; id {})\n", place.item.id.text());
    return;
  }
  if (place.failure) {
    io.out << fmt::format("  (cannot be reached for now, see to its volume: {}; id {})\n", place.failure->text(),
                          place.item.id.text());
    return;
  }
  if (place.item.kind == rawValue(ItemKind::folder) && !place.item.includeSubfolders) io.out << "  (no subfolders)";
  if (!contents) {
    io.out << "  (" << OpeningFailure::sentence(contents.error()) << ")\n";
    return;
  }
  const auto size = [](std::uint64_t bytes) { return SizeText::text(static_cast<std::int64_t>(bytes)); };
  io.out << fmt::format("\n  {} {}, {} compressed, {} compressable; {} take {} on the disk, {} saved", contents->files,
                        contents->files == 1 ? "file" : "files", contents->compressed, contents->compressable,
                        size(contents->logicalSize), size(contents->physicalSize), size(contents->saved));
  if (contents->unreadable > 0) io.out << fmt::format("; {} could not be read", contents->unreadable);
  io.out << '\n';
}

}  // namespace

int run(const AddCommand& command, Io& io) {
  const auto container = openStore(io);
  if (!container) return ExitCode::failed;
  StoreContext context(*container);
  return Adding::run(command, context, io);
}

int run(const RemoveCommand& command, Io& io) {
  const auto container = openStore(io);
  if (!container) return ExitCode::failed;
  StoreContext context(*container);
  const auto places = RegisteredPlace::all(context);
  if (!places) return storeFailed(places.error(), io);
  bool hasFailures = false;
  const auto fail = [&](const FilePath& named, const std::string& words) {
    hasFailures = true;
    if (command.json) io.out << RegistryLines::failedRemoval(named, words) << '\n';
    io.err << fmt::format("quillbrookctl: cannot remove {}: {}\n", PathText::shown(named, io.errIsTerminal), words);
  };
  std::vector<const RegisteredPlace*> removed;
  for (const FilePath& named : command.paths) {
    const auto found = namedPlaces(named, *places);
    if (found.empty()) {
      fail(named, "it is not registered; 'quillbrookctl list' shows what is");
      continue;
    }
    // One place may be registered twice; two that cannot be found are not one.
    if (found.size() > 1 && !found.front()->isResolved()) {
      fail(named, "several items have this name; name one by its id, as 'quillbrookctl list' shows it");
      continue;
    }
    for (const RegisteredPlace* place : found) {
      if (std::ranges::find(removed, place) != removed.end()) continue;
      context.erase(place->row);
      removed.push_back(place);
    }
  }
  // All at once: whoever reads that one is gone can rely on it.
  if (const auto saved = context.save(); !saved) return storeFailed(saved.error(), io);
  for (const RegisteredPlace* place : removed) {
    if (command.json) {
      io.out << RegistryLines::removal(*place) << '\n';
    } else {
      io.out << "removed " << PathText::shown(place->url, io.outIsTerminal)
             << " from the registry; its files are as they were\n";
    }
  }
  return hasFailures ? ExitCode::filesFailed : ExitCode::done;
}

int run(const ListCommand& command, Io& io) {
  const auto container = openStore(io);
  if (!container) return ExitCode::failed;
  StoreContext context(*container);
  const auto places = RegisteredPlace::all(context);
  if (!places) return storeFailed(places.error(), io);
  if (places->empty() && !command.json) io.out << "nothing is registered; 'quillbrookctl add PATH' does that\n";
  bool isComplete = true;
  for (const RegisteredPlace& place : *places) {
    const ItemKind kind = itemKindOf(place.item.kind).value_or(ItemKind::file);
    Result<PlaceContents> contents = PlaceContents();
    if (place.isResolved()) {
      contents =
          PlaceContents::of(place.url, kind, place.item.includeSubfolders, io.fileSystem, io.openEnumerator, io.stop);
    }
    if (io.stop.stop_requested()) return ExitCode::signalBase + io.stopSignal;
    if (command.json) {
      io.out << RegistryLines::place(place, contents) << '\n';
    } else {
      printPlace(place, contents, io);
    }
    isComplete = isComplete && contents && contents->unreadable == 0;
    if (!io.out.flush()) break;  // nobody reads the rest
  }
  return isComplete ? ExitCode::done : ExitCode::filesFailed;
}

}  // namespace quillbrook::RegistryCommands
