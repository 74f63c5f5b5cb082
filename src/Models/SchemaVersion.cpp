// SPDX-License-Identifier: MIT
#include "Models/SchemaVersion.h"

#include <fmt/format.h>

namespace quillbrook {

SchemaVersion SchemaVersion::ofNumber(std::int64_t number) {
  return {static_cast<int>(number / 10'000), static_cast<int>(number / 100 % 100), static_cast<int>(number % 100)};
}

std::string SchemaVersion::text() const {
  return fmt::format("{}.{}.{}", major, minor, patch);
}

}  // namespace quillbrook
