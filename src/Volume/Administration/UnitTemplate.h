// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace quillbrook::UnitTemplate {

// packaging/quillbrook-volume@.service.in, built in.
extern const std::string_view text;

}  // namespace quillbrook::UnitTemplate
