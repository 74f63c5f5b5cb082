// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include "Platform/Linux/ReachableVolume.h"

// Which mounts are volumes of ours that the caller may trust: made by the caller or root, their source checked. What
// was found is kept until the mount table changes. Any thread.
namespace quillbrook::VolumeRegistry {

// The volume on whose very mount `folder` lies, or null. `identifier` is that mount's, from MountPlace::of().
[[nodiscard]] std::shared_ptr<const ReachableVolume> find(int folder, std::uint64_t identifier);
// The same, if it has been found before and no mount has changed since; asks nobody.
[[nodiscard]] std::shared_ptr<const ReachableVolume> findKnown(std::uint64_t identifier);

}  // namespace quillbrook::VolumeRegistry
