// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/FilePath.h"
#include "Registration/ItemKind.h"

namespace quillbrook {

// A place that is registered already.
struct ExistingRegistration {
  FilePath url;
  ItemKind kind = ItemKind::file;
  friend bool operator==(const ExistingRegistration&, const ExistingRegistration&) = default;
};

}  // namespace quillbrook
