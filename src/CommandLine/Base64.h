// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

// RFC 4648, section 4.
namespace quillbrook::Base64 {

[[nodiscard]] std::string text(std::string_view bytes);

}  // namespace quillbrook::Base64
