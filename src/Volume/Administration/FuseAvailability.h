// SPDX-License-Identifier: MIT
#pragma once

#include <expected>

#include "Platform/ErrorNumber.h"
#include "Volume/Administration/VolumeError.h"

namespace quillbrook {

// Whether this machine lets the caller mount a FUSE file system.
namespace FuseAvailability {

// The set-user-id program with which everybody but root mounts and unmounts.
inline constexpr const char* helper = "fusermount3";

// FuseUnavailable.
[[nodiscard]] std::expected<void, VolumeError> check();

// What to say when `helper` could not be started.
[[nodiscard]] VolumeErrors::FuseUnavailable withoutHelper(ErrorNumber reason);

}  // namespace FuseAvailability
}  // namespace quillbrook
