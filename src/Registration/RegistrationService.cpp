// SPDX-License-Identifier: MIT
#include "Registration/RegistrationService.h"

#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "Models/RegisteredItem.h"
#include "Models/SecurityScopedBookmark.h"
#include "Registration/ExistingRegistration.h"
#include "Registration/RegistrationCoordinator.h"

namespace quillbrook::RegistrationService {

std::expected<RegistrationDecision, RegistrationError> registerItem(const FilePath& url, ItemKind kind,
                                                                    bool includeSubfolders, StoreContext& context,
                                                                    StoreDate now) {
  const auto rows = context.fetch<RegisteredItem>();
  if (!rows) return std::unexpected(RegistrationError(rows.error()));
  std::vector<ExistingRegistration> existing;
  for (const auto& [handle, item] : *rows) {
    const auto known = itemKindOf(item.kind);
    if (!known) continue;
    auto place = SecurityScopedBookmark::resolve(item.bookmark);
    if (place) existing.push_back({.url = std::move(place->url), .kind = *known});
  }
  auto decision = RegistrationCoordinator::decide(url, kind, includeSubfolders, existing);
  const auto* accepted = std::get_if<WillRegister>(&decision);
  if (accepted == nullptr) return decision;

  auto bookmark = SecurityScopedBookmark::create(accepted->url);
  if (!bookmark) return std::unexpected(RegistrationError(bookmark.error()));
  context.insert(RegisteredItem{.id = UUID::random(),
                                .bookmark = *std::move(bookmark),
                                .kind = std::string(rawValue(kind)),
                                .includeSubfolders = includeSubfolders,
                                .registeredAt = now,
                                .displayName = FilePath(std::string(accepted->url.name())),
                                .notes = std::nullopt});
  if (auto saved = context.save(); !saved) return std::unexpected(RegistrationError(std::move(saved.error())));
  return decision;
}

}  // namespace quillbrook::RegistrationService
