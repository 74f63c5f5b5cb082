// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string>

// The application: one executable for the window and for the unattended run.
namespace quillbrook::QuillbrookApp {

// The whole process; `arguments` are its own, the program's path first. Returns its exit code.
[[nodiscard]] int run(std::span<const std::string> arguments);

}  // namespace quillbrook::QuillbrookApp
