// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <string>
#include <vector>

#include "Volume/Administration/VolumeError.h"

// systemd's manager of the caller's own services, asked through `systemctl --user`. Any thread; waits for the answer.
namespace quillbrook::UserServiceManager {

enum class Reach {
  running,
  notRunning,    // systemd is installed, and no manager of the caller answers
  notInstalled,  // there is no `systemctl`
};
[[nodiscard]] Reach reach();

// Has it carry out one command, as {"enable", "--now", "x.service"}. HelperFailed, SystemFailure.
[[nodiscard]] std::expected<void, VolumeError> run(const std::vector<std::string>& arguments);

}  // namespace quillbrook::UserServiceManager
