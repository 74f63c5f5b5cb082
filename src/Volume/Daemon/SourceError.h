// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <variant>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// Why a folder cannot be the source of a volume.
namespace SourceErrors {

struct NotAFolder {
  FilePath path;
  ErrorNumber reason;
  friend bool operator==(const NotAFolder&, const NotAFolder&) = default;
};
// The folder lies in a volume, or a volume lies in it.
struct Nested {
  FilePath folder;
  FilePath volume;
  bool isInside = false;
  friend bool operator==(const Nested&, const Nested&) = default;
};
// Another daemon serves it, or somebody else changes it without one.
struct Served {
  FilePath folder;
  friend bool operator==(const Served&, const Served&) = default;
};
// What the volume keeps there is another user's: it would be obeyed.
struct ForeignPrivateFolder {
  FilePath folder;
  friend bool operator==(const ForeignPrivateFolder&, const ForeignPrivateFolder&) = default;
};
struct SystemFailure {
  std::string action;  // "lock": fits behind "cannot" and before the folder
  FilePath folder;
  ErrorNumber reason;
  friend bool operator==(const SystemFailure&, const SystemFailure&) = default;
};

}  // namespace SourceErrors

using SourceError = std::variant<SourceErrors::NotAFolder, SourceErrors::Nested, SourceErrors::Served,
                                 SourceErrors::ForeignPrivateFolder, SourceErrors::SystemFailure>;

// For the person: what failed, what to do, the system's words.
[[nodiscard]] std::string sentence(const SourceError& error);

}  // namespace quillbrook
