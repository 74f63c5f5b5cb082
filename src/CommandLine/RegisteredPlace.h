// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <vector>

#include "Models/RegisteredItem.h"
#include "Models/RowHandle.h"
#include "Models/StoreContext.h"
#include "Models/StoreError.h"
#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// An item of the registry with the place that it leads to now.
struct RegisteredPlace {
  RowHandle<RegisteredItem> row;
  RegisteredItem item;
  // Where it cannot be found: "/__unresolved__/" and the item's name, which is no real path.
  FilePath url;
  std::optional<ErrorNumber> failure;  // why it cannot be found; `noEntry` if it is gone

  [[nodiscard]] bool isResolved() const { return !failure; }

  // In the order of registration.
  [[nodiscard]] static StoreResult<std::vector<RegisteredPlace>> all(StoreContext& context);
};

}  // namespace quillbrook
