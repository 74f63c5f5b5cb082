// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <string>
#include <vector>

#include "Platform/Linux/UserUnitError.h"
#include "Platform/ServiceManagerReach.h"

// systemd's manager of the caller's own services, asked through `systemctl --user`. Any thread; waits for the answer.
namespace quillbrook::UserServiceManager {

[[nodiscard]] ServiceManagerReach reach();

// Has it carry out one command, as {"enable", "--now", "x.service"}: what it wrote.
[[nodiscard]] std::expected<std::string, UserUnitError> run(const std::vector<std::string>& arguments);

}  // namespace quillbrook::UserServiceManager
