// SPDX-License-Identifier: MIT
#pragma once

#include <variant>

#include "Platform/FilePath.h"
#include "Registration/ItemKind.h"

namespace quillbrook {

// The item may be registered; `url` is its canonical path.
struct WillRegister {
  FilePath url;
  ItemKind kind = ItemKind::file;
  bool includeSubfolders = false;
  friend bool operator==(const WillRegister&, const WillRegister&) = default;
};
// The same place is registered already; `canonical` is the registered item's canonical path.
struct SkipDuplicate {
  FilePath canonical;
  friend bool operator==(const SkipDuplicate&, const SkipDuplicate&) = default;
};
// A registered folder covers it; `parent` is that folder's canonical path.
struct SkipChildOfRegistered {
  FilePath parent;
  friend bool operator==(const SkipChildOfRegistered&, const SkipChildOfRegistered&) = default;
};

// What becomes of a place that is to be registered. The skips are normal results, not failures.
using RegistrationDecision = std::variant<WillRegister, SkipDuplicate, SkipChildOfRegistered>;

}  // namespace quillbrook
