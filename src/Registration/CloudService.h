// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace quillbrook {

// Who mirrors a folder to a cloud.
enum class CloudService : std::uint8_t { iCloudDrive, dropbox, oneDrive, googleDrive, fileProviderGeneric };

inline constexpr std::array allCloudServices{CloudService::iCloudDrive, CloudService::dropbox, CloudService::oneDrive,
                                             CloudService::googleDrive, CloudService::fileProviderGeneric};

// The case's name, as "iCloudDrive".
[[nodiscard]] std::string_view rawValue(CloudService service);
// What the user reads, as "iCloud Drive".
[[nodiscard]] std::string_view displayName(CloudService service);

}  // namespace quillbrook
