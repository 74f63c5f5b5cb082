// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Discovery/SearchForm.h"
#include "Platform/FilePath.h"
#include "Platform/ScheduleInterval.h"
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

struct AddCommand {
  std::vector<FilePath> paths;  // at least one
  bool includeSubfolders = true;
  bool yes = false;  // in spite of any warning
  bool json = false;
};
struct RemoveCommand {
  std::vector<FilePath> paths;  // at least one; an item's identifier is taken as well
  bool json = false;
};
struct ListCommand {
  bool json = false;
};
struct SearchCommand {
  SearchForm form;
  bool json = false;
};
struct CountCommand {
  FilePath folder;
  bool includeSubfolders = true;
  bool json = false;
};
struct DefaultsGetCommand {
  std::optional<std::string> name;  // nothing: all
  bool json = false;
};
struct DefaultsSetCommand {
  std::string name;
  std::string value;
  bool json = false;
};
struct ScheduleEnableCommand {
  ScheduleInterval interval = ScheduleInterval::weekly;
};
struct ScheduleDisableCommand {};
struct ScheduleStatusCommand {
  bool json = false;
};
// The unattended run, here and now.
struct RecompressCommand {};

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
using Command = std::variant<OperationCommand, InspectCommand, AddCommand, RemoveCommand, ListCommand, SearchCommand,
                             CountCommand, DefaultsGetCommand, DefaultsSetCommand, RecompressCommand,
                             ScheduleEnableCommand, ScheduleDisableCommand, ScheduleStatusCommand, VolumeMountCommand,
                             VolumeUnmountCommand, VolumeListCommand, VolumeCheckCommand, VolumeRestoreCommand,
                             VolumeEnableCommand, VolumeDisableCommand>;

}  // namespace quillbrook
