// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "Platform/FilePath.h"
#include "Registration/Cancelled.h"

namespace quillbrook {

// Nothing is there.
struct FolderNotFound {
  FilePath url;
  friend bool operator==(const FolderNotFound&, const FolderNotFound&) = default;
};
// It is no folder, or none that can be opened.
struct NotADirectory {
  FilePath url;
  friend bool operator==(const NotADirectory&, const NotADirectory&) = default;
};

// Why the files of a folder were not counted.
using FolderFileCounterError = std::variant<FolderNotFound, NotADirectory, Cancelled>;

// The case's name, as "notADirectory".
[[nodiscard]] std::string_view caseName(const FolderFileCounterError& error);
// The case with its payload, as "notFound(/a/b)".
[[nodiscard]] std::string describe(const FolderFileCounterError& error);
// What the user reads.
[[nodiscard]] std::string userText(const FolderFileCounterError& error);

}  // namespace quillbrook
