// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <string>
#include <variant>

#include "Models/StoreAction.h"
#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// Why the store did not do what was asked of it. Nothing in it has been changed, and a context keeps what it had not
// saved. `words` are SQLite's.
namespace StoreErrors {

// The file, or one that belongs beside it, could not be opened or created.
struct CannotOpen {
  FilePath store;
  ErrorNumber reason;  // 0 where the system gave none
  std::string words;
  friend bool operator==(const CannotOpen&, const CannotOpen&) = default;
};
struct ReadOnly {
  FilePath store;
  friend bool operator==(const ReadOnly&, const ReadOnly&) = default;
};
// Another program kept it locked for longer than anybody waits.
struct Busy {
  FilePath store;
  StoreAction action = StoreAction::open;
  std::string words;
  friend bool operator==(const Busy&, const Busy&) = default;
};
struct DiskFull {
  FilePath store;
  StoreAction action = StoreAction::open;
  std::string words;
  friend bool operator==(const DiskFull&, const DiskFull&) = default;
};
struct Damaged {
  FilePath store;
  std::string words;
  friend bool operator==(const Damaged&, const Damaged&) = default;
};
// A database, but another program's.
struct Foreign {
  FilePath store;
  friend bool operator==(const Foreign&, const Foreign&) = default;
};
// Written by a later version of this program.
struct NewerVersion {
  FilePath store;
  std::string version;  // of the schema, as "3.0.0"
  friend bool operator==(const NewerVersion&, const NewerVersion&) = default;
};
// Everything else, as a disk that cannot be read.
struct Failed {
  FilePath store;
  StoreAction action = StoreAction::open;
  int code = 0;        // SQLite's extended result code
  ErrorNumber reason;  // 0 where the system gave none
  std::string words;
  friend bool operator==(const Failed&, const Failed&) = default;
};

}  // namespace StoreErrors

using StoreError =
    std::variant<StoreErrors::CannotOpen, StoreErrors::ReadOnly, StoreErrors::Busy, StoreErrors::DiskFull,
                 StoreErrors::Damaged, StoreErrors::Foreign, StoreErrors::NewerVersion, StoreErrors::Failed>;

template <typename T>
using StoreResult = std::expected<T, StoreError>;

// The case with its payload, as "readOnly(store: /home/a/store.sqlite)".
[[nodiscard]] std::string describe(const StoreError& error);

// For people: what failed, what to do, and SQLite's words.
[[nodiscard]] std::string sentence(const StoreError& error);

}  // namespace quillbrook
