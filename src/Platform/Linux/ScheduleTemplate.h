// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

// packaging/quillbrook-recompress.*.in, built in.
namespace quillbrook::ScheduleTemplate {

extern const std::string_view service;
extern const std::string_view timer;

}  // namespace quillbrook::ScheduleTemplate
