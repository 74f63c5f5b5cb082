// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>
#include <variant>
#include <vector>

#include "Platform/FilePath.h"
#include "Volume/Administration/VolumeMount.h"

namespace quillbrook {

enum class OperationKind : std::uint8_t { compress, decompress };

[[nodiscard]] constexpr std::string_view name(OperationKind kind) {
  return kind == OperationKind::compress ? "compress" : "decompress";
}

// compress and decompress
struct OperationCommand {
  OperationKind kind = OperationKind::compress;
  std::vector<FilePath> paths;  // at least one
  unsigned jobs = 1;            // files at once, 1 to 8
  bool json = false;
};

struct InspectCommand {
  std::vector<FilePath> paths;  // at least one
  bool json = false;
};

struct VolumeMountCommand {
  FilePath folder;
  MountOptions options;
};
struct VolumeUnmountCommand {
  FilePath folder;
};
struct VolumeListCommand {
  bool json = false;
};
struct VolumeCheckCommand {
  FilePath folder;
  bool json = false;
};
struct VolumeRestoreCommand {
  FilePath folder;
};
struct VolumeEnableCommand {
  FilePath folder;
  bool force = false;
};
struct VolumeDisableCommand {
  FilePath folder;
};

// What the user asked for.
using Command =
    std::variant<OperationCommand, InspectCommand, VolumeMountCommand, VolumeUnmountCommand, VolumeListCommand,
                 VolumeCheckCommand, VolumeRestoreCommand, VolumeEnableCommand, VolumeDisableCommand>;

}  // namespace quillbrook
