// SPDX-License-Identifier: MIT
#pragma once

#include <expected>

#include "Models/StoreContext.h"
#include "Models/StoreDate.h"
#include "Platform/FilePath.h"
#include "Registration/ItemKind.h"
#include "Registration/RegistrationDecision.h"
#include "Registration/RegistrationError.h"

// Every way of adding to the registry ends here.
namespace quillbrook::RegistrationService {

// Decides about the place, which is absolute, beside what is registered now, and if nothing stands in the way keeps it,
// saved. Items of an unknown kind, and those whose bookmark leads nowhere any more, stand in nobody's way. In the
// thread that the context belongs to. If the save fails, the context keeps the new row unsaved.
[[nodiscard]] std::expected<RegistrationDecision, RegistrationError> registerItem(const FilePath& url, ItemKind kind,
                                                                                  bool includeSubfolders,
                                                                                  StoreContext& context, StoreDate now);

}  // namespace quillbrook::RegistrationService
