// SPDX-License-Identifier: MIT
#pragma once

#include <expected>

#include "Platform/ErrorNumber.h"
#include "Volume/Administration/VolumeError.h"

// Whether this machine lets the caller mount a FUSE file system. Any thread.
namespace quillbrook::FuseAvailability {

// FuseUnavailable.
[[nodiscard]] std::expected<void, VolumeError> check();

// What to say when FuseUnmount::helper could not be started.
[[nodiscard]] VolumeErrors::FuseUnavailable withoutHelper(ErrorNumber reason);

}  // namespace quillbrook::FuseAvailability
