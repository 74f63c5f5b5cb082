// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "CommandLine/PlaceContents.h"
#include "CommandLine/RegisteredPlace.h"
#include "Discovery/FileCandidate.h"
#include "Discovery/SearchProgress.h"
#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Platform/RecompressSchedule.h"
#include "Registration/RegistrationDecision.h"
#include "Settings/Setting.h"

// The objects of `--json` that tell of the registry and what is about it (searches, the schedule, settings), as
// JsonLines' are of files and volumes.
namespace quillbrook::RegistryLines {

[[nodiscard]] std::string registration(const FilePath& url, const RegistrationDecision& decision);
[[nodiscard]] std::string declinedRegistration(const FilePath& url, std::string_view detail);
[[nodiscard]] std::string failedRegistration(const FilePath& url, std::string_view detail);

[[nodiscard]] std::string removal(const RegisteredPlace& place);
[[nodiscard]] std::string failedRemoval(const FilePath& named, std::string_view detail);

// Of a place that is not to be found any more, or cannot be read, all figures are null.
[[nodiscard]] std::string place(const RegisteredPlace& place, const Result<PlaceContents>& contents);

[[nodiscard]] std::string candidate(const FileCandidate& candidate);
[[nodiscard]] std::string searchSummary(const SearchProgress& result);
[[nodiscard]] std::string count(const FilePath& url, bool includeSubfolders, std::size_t files);

[[nodiscard]] std::string schedule(const ScheduleStatus& status);

[[nodiscard]] std::string setting(const Setting& setting, const std::optional<UserDefaults::Value>& value);

}  // namespace quillbrook::RegistryLines
