// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <functional>
#include <stop_token>
#include <vector>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Volume/Administration/VolumeCheck.h"
#include "Volume/Administration/VolumeError.h"
#include "Volume/Administration/VolumeList.h"
#include "Volume/Administration/VolumeMount.h"
#include "Volume/Administration/VolumeRestore.h"
#include "Volume/Administration/VolumeUnit.h"
#include "Volume/Administration/VolumeUnmount.h"

namespace quillbrook {

// The administration of volumes as the command line calls it.
struct VolumeOperations {
  std::function<std::expected<MountOutcome, VolumeError>(const FilePath&, const MountOptions&, std::stop_token,
                                                         const std::function<void(const MountOutcome&)>&)>
      mount = VolumeMount::mount;
  std::function<std::expected<UnmountOutcome, VolumeError>(const FilePath&, std::stop_token,
                                                           const std::function<void(const UnmountOutcome&)>&)>
      unmount = VolumeUnmount::unmount;
  std::function<Result<std::vector<VolumeListing>>()> list = VolumeList::read;
  std::function<std::expected<CheckResult, VolumeError>(
      const FilePath&, const std::function<void(const CheckFinding&)>&, std::stop_token)>
      check = VolumeCheck::check;
  std::function<std::expected<RestoreResult, VolumeError>(
      const FilePath&, const std::function<void(const RestoreEvent&)>&, std::stop_token)>
      restore = VolumeRestore::restore;
  std::function<std::expected<UnitOutcome, VolumeError>(const FilePath&, bool force)> enable = VolumeUnit::enable;
  std::function<std::expected<UnitOutcome, VolumeError>(const FilePath&)> disable = VolumeUnit::disable;
};

}  // namespace quillbrook
