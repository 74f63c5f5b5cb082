// SPDX-License-Identifier: MIT
#include "Volume/Administration/StoredFile.h"

#include <sys/stat.h>
#include <sys/xattr.h>

#include <string_view>
#include <utility>

#include "Container/ContainerRecovery.h"
#include "Platform/Linux/AttributeNames.h"
#include "Platform/Linux/BackingFile.h"
#include "Platform/Linux/DescriptorSource.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/ReservedNames.h"

namespace quillbrook {
namespace {

bool isMarkedWorkFile(int file, std::string_view name) {
  if (!ReservedNames::isWorkFileName(name)) return false;
  const auto marker = AttributeNames::hostName(ReservedNames::workFileMarker);
  return marker && ::fgetxattr(file, marker->c_str(), nullptr, 0) >= 0;
}

bool isCancelled(const std::optional<ContainerDamage>& damage) {
  return damage == ContainerDamage{ContainerUnreadable{ErrorNumber::cancelled}};
}

Result<StoredFile> verified(const ByteSource& source, std::uint64_t byteCount, StoredFiles::Container container,
                            const std::stop_token& stop) {
  container.damage = ContainerCheck::check(source, byteCount - container.surplusByteCount, container.state, stop);
  if (isCancelled(container.damage)) return std::unexpected(ErrorNumber::cancelled);
  return container;
}

}  // namespace

Result<StoredFile> examineStoredFile(int source, int file, const char* name, const std::stop_token& stop) {
  if (isMarkedWorkFile(file, name)) return StoredFiles::WorkFile{};
  const auto state = StoredState::read(file);
  if (!state && state.error() != ErrorNumber::inputOutput) return std::unexpected(state.error());
  struct stat status{};
  if (::fstat(file, &status) != 0) return SystemCall::failure();
  const auto byteCount = static_cast<std::uint64_t>(status.st_size);
  const DescriptorSource bytes(file);

  if (state && *state) {
    if ((*state)->redoIdentifier != 0) {
      return StoredFiles::Redone{**state, RedoCopy::open(source, **state, status.st_uid).has_value()};
    }
    if ((*state)->isUnderConstruction()) return StoredFiles::WorkFile{};
    if (!(*state)->isSealed()) return StoredFiles::Ordinary{};
    const std::uint64_t own = (*state)->rawByteCount();
    return verified(bytes, byteCount,
                    {.state = **state, .surplusByteCount = byteCount > own ? byteCount - own : 0, .damage = {}}, stop);
  }

  const auto attribute =
      state ? StoredFiles::Container::Attribute::missing : StoredFiles::Container::Attribute::damaged;
  const auto found = ContainerRecovery::find(bytes, byteCount);
  if (!found) return std::unexpected(found.error());
  if (const auto* recovered = std::get_if<RecoveredContainer>(&*found)) {
    return verified(bytes, byteCount,
                    {.state = recovered->state,
                     .attribute = attribute,
                     .surplusByteCount = recovered->surplusByteCount,
                     .damage = {}},
                    stop);
  }
  if (attribute == StoredFiles::Container::Attribute::damaged) return StoredFiles::StateUnknown{};
  if (std::holds_alternative<quillbrook::TrailerMissing>(*found)) return StoredFiles::TrailerMissing{};
  return StoredFiles::Ordinary{};
}

}  // namespace quillbrook
