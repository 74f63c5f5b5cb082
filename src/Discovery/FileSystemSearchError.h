// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "Platform/FilePath.h"
#include "Registration/Cancelled.h"

namespace quillbrook {

// Nothing is there.
struct RootNotFound {
  FilePath url;
  friend bool operator==(const RootNotFound&, const RootNotFound&) = default;
};
// It is no folder, or none that can be opened.
struct RootNotADirectory {
  FilePath url;
  friend bool operator==(const RootNotADirectory&, const RootNotADirectory&) = default;
};

// Why a search gave no result.
using FileSystemSearchError = std::variant<RootNotFound, RootNotADirectory, Cancelled>;

// The case's name, as "rootNotFound".
[[nodiscard]] std::string_view caseName(const FileSystemSearchError& error);
// The case with its payload, as "rootNotFound(/a/b)".
[[nodiscard]] std::string describe(const FileSystemSearchError& error);
// What the user reads.
[[nodiscard]] std::string userText(const FileSystemSearchError& error);

}  // namespace quillbrook
