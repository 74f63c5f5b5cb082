// SPDX-License-Identifier: MIT
#include "Volume/Administration/StoredFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "Container/ContainerRecovery.h"
#include "Platform/Linux/DescriptorSource.h"
#include "Platform/Linux/RedoCopy.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/WorkInProgress.h"
#include "Platform/ReservedNames.h"

namespace quillbrook {

Result<StoredFile> examineStoredFile(int folder, int file, const char* name) {
  if (ReservedNames::isWorkFileName(name) && WorkInProgress::isMarked(file)) return StoredFiles::WorkFile{};
  const auto state = StoredState::read(file);
  if (!state && state.error() != ErrorNumber::inputOutput) return std::unexpected(state.error());
  const auto status = SystemCall::status(file);
  if (!status) return std::unexpected(status.error());
  const auto byteCount = static_cast<std::uint64_t>(status->st_size);
  const DescriptorSource bytes(file);

  if (state && *state) {
    if ((*state)->redoIdentifier != 0) {
      return StoredFiles::Redone{
          **state, RedoCopy::open(folder, **state, {.inode = status->st_ino, .owner = status->st_uid}).has_value()};
    }
    if ((*state)->isUnderConstruction()) {
      if (WorkInProgress::isMarked(file)) return StoredFiles::WorkFile{};
      return StoredFiles::Emptied{**state};
    }
    if ((*state)->isSealed()) {
      const std::uint64_t own = (*state)->rawByteCount();
      return StoredFiles::Container{.state = **state, .surplusByteCount = byteCount > own ? byteCount - own : 0};
    }
  }

  // A state of an ordinary file is none: a container that had lost its own may have been taken for a content,
  // compressed and turned back.
  const auto attribute =
      state ? StoredFiles::Container::Attribute::missing : StoredFiles::Container::Attribute::damaged;
  const auto found = ContainerRecovery::find(bytes, byteCount);
  if (!found) return std::unexpected(found.error());
  if (const auto* recovered = std::get_if<RecoveredContainer>(&*found)) {
    return StoredFiles::Container{
        .state = recovered->state, .attribute = attribute, .surplusByteCount = recovered->surplusByteCount};
  }
  if (attribute == StoredFiles::Container::Attribute::damaged) return StoredFiles::StateUnknown{};
  if (std::holds_alternative<quillbrook::TrailerMissing>(*found)) return StoredFiles::TrailerMissing{};
  return StoredFiles::Ordinary{};
}

Result<std::optional<ContainerDamage>> findDamage(int file, const StoredFiles::Container& stored,
                                                  const std::stop_token& stop) {
  const auto status = SystemCall::status(file);
  if (!status) return std::unexpected(status.error());
  const auto byteCount = std::min(static_cast<std::uint64_t>(status->st_size), stored.state.rawByteCount());
  auto damage = ContainerCheck::check(DescriptorSource(file), byteCount, stored.state, stop);
  if (damage == ContainerDamage{ContainerUnreadable{ErrorNumber::cancelled}}) {
    return std::unexpected(ErrorNumber::cancelled);
  }
  return damage;
}

}  // namespace quillbrook
