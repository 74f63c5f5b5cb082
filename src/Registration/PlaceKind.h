// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Registration/ItemKind.h"

// What stands at a place before it is registered or walked. Any thread.
namespace quillbrook::PlaceKind {

// Links followed; whatever is no folder counts as a file. Nothing if nothing is there. Fails where that cannot be told.
[[nodiscard]] Result<std::optional<ItemKind>> at(const FilePath& url);

// Whether there is certainly nothing.
[[nodiscard]] bool isMissing(const FilePath& url);

}  // namespace quillbrook::PlaceKind
