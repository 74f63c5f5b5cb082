// SPDX-License-Identifier: MIT
#include "CommandLine/RegistryLines.h"

#include <optional>
#include <variant>

#include "CommandLine/JsonObject.h"
#include "Discovery/ExtensionCategory.h"
#include "Discovery/Rating.h"
#include "Models/StoreDate.h"
#include "Platform/DateText.h"

namespace quillbrook::RegistryLines {
namespace {

using JsonObject::addPath;
using JsonObject::Json;
using JsonObject::line;

Json registrationOf(const FilePath& url, std::string_view outcome) {
  Json object{{"type", "registration"}};
  addPath(object, "path", url);
  object["outcome"] = outcome;
  return object;
}

struct Decided {
  const FilePath& url;

  Json operator()(const WillRegister& item) const {
    Json object = registrationOf(item.url, "done");
    object["decision"] = "willRegister";
    object["kind"] = rawValue(item.kind);
    object["includeSubfolders"] = item.includeSubfolders;
    return object;
  }
  Json operator()(const SkipDuplicate& skipped) const {
    Json object = registrationOf(url, "skipped");
    object["decision"] = "skipDuplicate";
    addPath(object, "registered", skipped.canonical);
    return object;
  }
  Json operator()(const SkipChildOfRegistered& skipped) const {
    Json object = registrationOf(url, "skipped");
    object["decision"] = "skipChildOfRegistered";
    addPath(object, "registered", skipped.parent);
    return object;
  }
};

std::string_view managerName(ServiceManagerReach reach) {
  switch (reach) {
    case ServiceManagerReach::running: return "running";
    case ServiceManagerReach::notRunning: return "notRunning";
    case ServiceManagerReach::notInstalled: break;
  }
  return "notInstalled";
}

std::string undecided(const FilePath& url, std::string_view outcome, std::string_view detail) {
  Json object = registrationOf(url, outcome);
  object["decision"] = nullptr;
  object["detail"] = detail;
  return line(object);
}

}  // namespace

std::string registration(const FilePath& url, const RegistrationDecision& decision) {
  return line(std::visit(Decided{url}, decision));
}

std::string declinedRegistration(const FilePath& url, std::string_view detail) {
  return undecided(url, "skipped", detail);
}

std::string failedRegistration(const FilePath& url, std::string_view detail) {
  return undecided(url, "failed", detail);
}

std::string removal(const RegisteredPlace& place) {
  Json object{{"type", "removal"}};
  addPath(object, "path", place.url);
  object["outcome"] = "done";
  object["id"] = place.item.id.text();
  return line(object);
}

std::string failedRemoval(const FilePath& named, std::string_view detail) {
  Json object{{"type", "removal"}};
  addPath(object, "path", named);
  object["outcome"] = "failed";
  object["detail"] = detail;
  return line(object);
}

std::string place(const RegisteredPlace& place, const Result<PlaceContents>& contents) {
  Json object{{"type", "place"}, {"id", place.item.id.text()}};
  addPath(object, "path", place.url);
  object["resolved"] = place.isResolved();
  object["kind"] = place.item.kind;
  object["includeSubfolders"] = place.item.includeSubfolders;
  object["registeredAt"] = DateText::text(timestamp(place.item.registeredAt));
  const bool isKnown = place.isResolved() && contents.has_value();
  const auto figure = [&](std::uint64_t PlaceContents::* member) {
    return isKnown ? Json((*contents).*member) : Json(nullptr);
  };
  object["files"] = figure(&PlaceContents::files);
  object["compressed"] = figure(&PlaceContents::compressed);
  object["compressable"] = figure(&PlaceContents::compressable);
  object["logicalSize"] = figure(&PlaceContents::logicalSize);
  object["physicalSize"] = figure(&PlaceContents::physicalSize);
  object["saved"] = figure(&PlaceContents::saved);
  object["unreadable"] = figure(&PlaceContents::unreadable);
  object["detail"] = nullptr;
  if (place.failure) object["detail"] = place.failure->text();
  if (!contents) object["detail"] = contents.error().text();
  return line(object);
}

std::string candidate(const FileCandidate& candidate) {
  const ExtensionCategory category = categoryForExtension(candidate.url.extension());
  Json object{{"type", "candidate"}};
  addPath(object, "path", candidate.url);
  object["size"] = candidate.size;
  object["modified"] = DateText::text(candidate.modificationDate);
  object["hidden"] = candidate.isHidden;
  object["compressed"] = candidate.isAlreadyCompressed;
  object["rating"] = rawValue(ratingForCategory(category));
  object["stars"] = starsForCategory(category);
  return line(object);
}

std::string searchSummary(const SearchProgress& result) {
  return line(
      Json{{"type", "summary"}, {"operation", "search"}, {"scanned", result.scanned}, {"matched", result.matched}});
}

std::string count(const FilePath& url, bool includeSubfolders, std::size_t files) {
  Json object{{"type", "count"}};
  addPath(object, "path", url);
  object["includeSubfolders"] = includeSubfolders;
  object["files"] = files;
  return line(object);
}

std::string schedule(const ScheduleStatus& status) {
  const auto date = [](const std::optional<Timestamp>& instant) {
    return instant ? Json(DateText::text(*instant)) : Json(nullptr);
  };
  return line(Json{{"type", "schedule"},
                   {"enabled", status.isEnabled},
                   {"interval", status.interval ? Json(name(*status.interval)) : Json(nullptr)},
                   {"calendar", status.isEnabled ? Json(status.calendar) : Json(nullptr)},
                   {"manager", managerName(status.reach)},
                   {"nextRun", date(status.nextRun)},
                   {"lastRun", date(status.lastRun)}});
}

std::string setting(const Setting& setting, const std::optional<UserDefaults::Value>& value) {
  Json object{{"type", "setting"}, {"name", name(setting)}};
  object["value"] = value ? std::visit([](const auto& held) { return Json(held); }, *value) : Json(nullptr);
  return line(object);
}

}  // namespace quillbrook::RegistryLines
