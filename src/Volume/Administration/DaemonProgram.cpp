// SPDX-License-Identifier: MIT
#include "Volume/Administration/DaemonProgram.h"

#include <utility>

#include "Platform/Linux/InstalledProgram.h"

namespace quillbrook {

std::expected<FilePath, VolumeError> DaemonProgram::find() {
  auto found = InstalledProgram::find("quillbrook-volume");
  if (!found) return std::unexpected(VolumeErrors::DaemonMissing{std::move(found.error())});
  return *std::move(found);
}

}  // namespace quillbrook
