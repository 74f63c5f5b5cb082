// SPDX-License-Identifier: MIT
#include "App/LaunchRecord.h"

#include "Settings/SettingsKeys.h"

namespace quillbrook {

Result<void> LaunchRecord::record(UserDefaults& defaults, Timestamp now) {
  using namespace SettingsKeys;
  if (const auto last = defaults.get(lastLaunchAt)) {
    if (const auto done = defaults.set(previousLaunchAt, last); !done) return done;
  }
  if (const auto done = defaults.set(lastLaunchAt, now); !done) return done;
  return defaults.set(launchCount, defaults.get(launchCount) + 1);
}

}  // namespace quillbrook
