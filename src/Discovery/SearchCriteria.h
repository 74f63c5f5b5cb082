// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "Discovery/ExtensionFilter.h"
#include "Discovery/FileCandidate.h"
#include "Platform/FilePath.h"
#include "Platform/Timestamp.h"

namespace quillbrook {

// Where to search, and for what.
struct SearchCriteria {
  FilePath rootURL;
  bool recursive = true;
  std::optional<Timestamp> modifiedBefore = std::nullopt;  // files changed at this instant or earlier
  std::optional<std::uint64_t> minSize = std::nullopt;     // bytes, inclusive
  std::optional<std::uint64_t> maxSize = std::nullopt;     // bytes, inclusive
  std::optional<ExtensionFilter> extensionFilter = std::nullopt;
  bool excludeAlreadyCompressed = false;
  bool excludeHidden = false;

  // Whether the candidate, wherever it lies, meets every condition.
  [[nodiscard]] bool matches(const FileCandidate& candidate) const;

  friend bool operator==(const SearchCriteria&, const SearchCriteria&) = default;
};

}  // namespace quillbrook
