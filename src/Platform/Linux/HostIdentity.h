// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "Platform/ErrorNumber.h"
#include "Platform/Timestamp.h"

namespace quillbrook {

// Which inode of a host's file system something is: numbers are used again, but not with the same moment of birth.
struct HostIdentity {
  std::uint32_t deviceMajor = 0;
  std::uint32_t deviceMinor = 0;
  std::uint64_t inode = 0;
  std::optional<Timestamp> birth;  // where the host keeps one

  // Of the entry `name` of an open folder, itself if it is a symbolic link; of the open file if the name is empty.
  [[nodiscard]] static Result<HostIdentity> at(int folder, const char* name);

  [[nodiscard]] bool isOnDeviceOf(const HostIdentity& other) const {
    return deviceMajor == other.deviceMajor && deviceMinor == other.deviceMinor;
  }

  // Whether the other is certainly the same inode. Device numbers do not count: they may change with every start.
  [[nodiscard]] bool isSameInode(const HostIdentity& other) const {
    return inode == other.inode && birth && birth == other.birth;
  }
};

}  // namespace quillbrook
