// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

// packaging/quillbrook-volume@.service.in, built in.
namespace quillbrook::UnitTemplate {

// The unit file's text with the daemon's program, quoted as systemd asks for.
[[nodiscard]] std::string filled(std::string_view program);

}  // namespace quillbrook::UnitTemplate
