// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "App/RunMode.h"
#include "Models/StoreContainer.h"

namespace quillbrook {

// What the whole process knows of itself. Written once, by the main thread, before anybody can read it.
struct AppContext {
  std::optional<StoreContainer> container;  // nothing before the store is open
  RunMode runMode = RunMode::gui;

  [[nodiscard]] static AppContext& shared();
};

}  // namespace quillbrook
