// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <variant>

#include "Models/BookmarkError.h"
#include "Models/StoreError.h"

namespace quillbrook {

// Why a place was not registered though it might be: either's own error.
using RegistrationError = std::variant<StoreError, BookmarkError>;

[[nodiscard]] std::string describe(const RegistrationError& error);

}  // namespace quillbrook
