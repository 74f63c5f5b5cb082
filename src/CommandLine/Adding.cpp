// SPDX-License-Identifier: MIT
#include "CommandLine/Adding.h"

#include <fmt/format.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <variant>

#include "CommandLine/ExitCode.h"
#include "CommandLine/OpeningFailure.h"
#include "CommandLine/PathText.h"
#include "CommandLine/PlacePath.h"
#include "CommandLine/RegistryLines.h"
#include "Models/StoreDate.h"
#include "Registration/AddStep.h"
#include "Registration/CloudFolderWarning.h"
#include "Registration/PlaceKind.h"
#include "Registration/RegistrationService.h"

namespace quillbrook::Adding {
namespace {

std::string failureText(const RegistrationError& error) {
  if (const auto* store = std::get_if<StoreError>(&error)) return sentence(*store);
  const auto reason = [](const auto& refused) { return refused.reason; };
  return "it cannot be found again later: " + std::visit(reason, std::get<BookmarkError>(error));
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
class Run {
 public:
  Run(const AddCommand& command, StoreContext& context, Io& io) : command_(command), context_(context), io_(io) {}

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
    if (const auto words = *found ? unfitWords(*url) : std::string_view(); !words.empty()) {
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
    std::error_code missing;
    std::error_code homeless;
    const auto real = std::filesystem::canonical(url.bytes(), missing);
    const auto home = std::filesystem::canonical(io_.home.bytes(), homeless);
    if (missing || homeless || !found || std::holds_alternative<PendingCloudWarning>(decision)) return decision;
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

}  // namespace

int run(const AddCommand& command, StoreContext& context, Io& io) {
  return Run(command, context, io).run();
}

}  // namespace quillbrook::Adding
