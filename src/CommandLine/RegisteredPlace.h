// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "Models/RegisteredItem.h"
#include "Models/RowHandle.h"
#include "Models/StoreContext.h"
#include "Models/StoreError.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// An item of the registry with the place that it leads to now.
struct RegisteredPlace {
  RowHandle<RegisteredItem> row;
  RegisteredItem item;
  // Where nothing can be found any more: "/__unresolved__/" and the item's name, which is no real path.
  FilePath url;
  bool isResolved = true;

  // In the order of registration.
  [[nodiscard]] static StoreResult<std::vector<RegisteredPlace>> all(StoreContext& context);
};

}  // namespace quillbrook
