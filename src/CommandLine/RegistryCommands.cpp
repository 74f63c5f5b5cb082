// SPDX-License-Identifier: MIT
#include "CommandLine/RegistryCommands.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

#include "CommandLine/ExitCode.h"
#include "CommandLine/OpeningFailure.h"
#include "CommandLine/PathText.h"
#include "CommandLine/PlaceContents.h"
#include "CommandLine/PlacePath.h"
#include "CommandLine/RegisteredPlace.h"
#include "CommandLine/RegistryLines.h"
#include "CommandLine/SizeText.h"
#include "Models/StoreContext.h"
#include "Registration/AddStep.h"
#include "Registration/CloudFolderWarning.h"
#include "Registration/PlaceKind.h"
#include "Registration/RegistrationService.h"

namespace quillbrook::RegistryCommands {
namespace {

std::string failureText(const RegistrationError& error) {
  if (const auto* store = std::get_if<StoreError>(&error)) return sentence(*store);
  const auto reason = [](const auto& refused) { return refused.reason; };
  return "it cannot be found again later: " + std::visit(reason, std::get<BookmarkError>(error));
}

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

// With its emphasis on a terminal, and without marks elsewhere.
std::string rendered(std::string_view text, bool onTerminal) {
  constexpr std::string_view mark = "**";
  std::string line;
  bool isStrong = false;
  for (auto at = text.find(mark); at != std::string_view::npos; at = text.find(mark)) {
    line += text.substr(0, at);
    isStrong = !isStrong;
    if (onTerminal) line += isStrong ? "\x1b[1m" : "\x1b[22m";
    text.remove_prefix(at + mark.size());
  }
  return line += text;
}

// Registers one named place after the other.
class Adding {
 public:
  Adding(const AddCommand& command, StoreContext& context, Io& io) : command_(command), context_(context), io_(io) {}

  int run() {
    for (const FilePath& named : command_.paths) {
      if (io_.stop.stop_requested() || storeHasFailed_) break;
      add(named);
    }
    if (io_.stop.stop_requested()) return ExitCode::signalBase + io_.stopSignal;
    if (storeHasFailed_) return ExitCode::failed;
    return hasFailures_ ? ExitCode::filesFailed : ExitCode::done;
  }

 private:
  void add(const FilePath& named) {
    const auto url = placePath(named);
    if (!url) {
      fail(named, OpeningFailure::sentence(url.error()));
      return;
    }
    const auto found = PlaceKind::at(*url);
    if (!found) {
      fail(*url, OpeningFailure::sentence(found.error()));
      return;
    }
    if (const auto words = unfitWords(*url); !words.empty()) {
      fail(*url, words);
      return;
    }
    AddDecision next = decide(*url, *found);
    if (const auto* warning = std::get_if<PendingCloudWarning>(&next)) {
      if (!goesOn(*warning)) return;
      next = AddStep::afterWarning(*warning);
    }
    if (std::holds_alternative<LocationMissing>(next)) {
      fail(*url, OpeningFailure::sentence(ErrorNumber::noEntry));
      return;
    }
    const bool isFolder = std::holds_alternative<FolderToCount>(next);
    registerPlace(*url, isFolder ? ItemKind::folder : ItemKind::file, isFolder && command_.includeSubfolders);
  }

  // What no run would ever compress.
  [[nodiscard]] std::string_view unfitWords(const FilePath& url) const {
    const auto status = io_.fileSystem.lstat(url);
    if (!status || status->kind == FileKind::regular || status->kind == FileKind::directory) return {};
    if (status->kind == FileKind::other) return "it is neither a file nor a folder";
    const auto target = PlaceKind::at(url);
    const bool leadsToFolder = target && *target == ItemKind::folder;
    return leadsToFolder ? "" : "it is a symbolic link, which is not compressed; name what it leads to";
  }

  // A link to a place that a cloud service mirrors is such a place too.
  [[nodiscard]] AddDecision decide(const FilePath& url, std::optional<ItemKind> found) const {
    AddDecision decision = AddStep::decide(url, found, io_.home);
    std::error_code failure;
    const auto real = std::filesystem::canonical(url.bytes(), failure);
    const auto home = std::filesystem::canonical(io_.home.bytes(), failure);
    if (failure || !found || std::holds_alternative<PendingCloudWarning>(decision)) return decision;
    AddDecision behind = AddStep::decide(FilePath(real.native()), found, FilePath(home.native()));
    if (auto* warning = std::get_if<PendingCloudWarning>(&behind)) {
      warning->url = url;
      return behind;
    }
    return decision;
  }

  void registerPlace(const FilePath& url, ItemKind kind, bool includeSubfolders) {
    const auto decision =
        RegistrationService::registerItem(url, kind, includeSubfolders, context_, storeDate(io_.currentTime()));
    if (!decision) {
      storeHasFailed_ = std::holds_alternative<StoreError>(decision.error());
      fail(url, failureText(decision.error()));
      return;
    }
    if (command_.json) {
      io_.out << RegistryLines::registration(url, *decision) << '\n';
      return;
    }
    struct Words {
      const FilePath& url;
      bool onTerminal;
      std::string operator()(const WillRegister& item) const {
        std::string_view kind = "file";
        if (item.kind == ItemKind::folder) {
          kind = item.includeSubfolders ? "folder, with its subfolders" : "folder, without its subfolders";
        }
        return fmt::format("registered {} ({})", PathText::shown(item.url, onTerminal), kind);
      }
      std::string operator()(const SkipDuplicate& skipped) const {
        return "already registered: " + PathText::shown(skipped.canonical, onTerminal);
      }
      std::string operator()(const SkipChildOfRegistered& skipped) const {
        return fmt::format("{} lies in {}, which is registered", PathText::shown(url, onTerminal),
                           PathText::shown(skipped.parent, onTerminal));
      }
    };
    io_.out << std::visit(Words{url, io_.outIsTerminal}, *decision) << '\n';
  }

  // Whether the user wants it in spite of the cloud.
  bool goesOn(const PendingCloudWarning& warning) {
    if (command_.yes) return true;
    io_.err << CloudFolderWarning::heading(warning.service) << ": " << PathText::shown(warning.url, io_.errIsTerminal)
            << '\n';
    for (const std::string_view point : CloudFolderWarning::bulletPoints) {
      io_.err << "  • " << rendered(point, io_.errIsTerminal) << '\n';
    }
    if (!io_.readLine) {
      fail(warning.url, "a cloud service mirrors it; to register it all the same, give the command again with --yes");
      return false;
    }
    io_.err << CloudFolderWarning::continueTitle << " [y/N]: " << std::flush;
    const auto answer = io_.readLine(io_.stop);
    if (answer && (*answer == "y" || *answer == "Y" || *answer == "yes")) return true;
    if (!io_.stop.stop_requested()) skip(warning.url, "left out, as it was not wanted");
    return false;
  }

  void skip(const FilePath& url, std::string_view words) {
    if (command_.json) {
      io_.out << RegistryLines::declinedRegistration(url, words) << '\n';
    } else {
      io_.out << PathText::shown(url, io_.outIsTerminal) << ": " << words << '\n';
    }
  }

  void fail(const FilePath& url, std::string_view words) {
    hasFailures_ = true;
    if (command_.json) io_.out << RegistryLines::failedRegistration(url, words) << '\n';
    io_.err << fmt::format("quillbrookctl: cannot register {}: {}\n", PathText::shown(url, io_.errIsTerminal),
                           PathText::shownMessage(words, io_.errIsTerminal));
  }

  const AddCommand& command_;
  StoreContext& context_;
  Io& io_;
  bool hasFailures_ = false;
  bool storeHasFailed_ = false;  // what was not saved must not be saved with the next
};

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
  return Adding(command, context, io).run();
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
