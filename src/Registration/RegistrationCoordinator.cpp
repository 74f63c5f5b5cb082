// SPDX-License-Identifier: MIT
#include "Registration/RegistrationCoordinator.h"

#include "Registration/CanonicalPath.h"

namespace quillbrook::RegistrationCoordinator {

RegistrationDecision decide(const FilePath& url, ItemKind kind, bool includeSubfolders,
                            std::span<const ExistingRegistration> existing) {
  const FilePath target = canonicalPath(url);
  for (const ExistingRegistration& entry : existing) {
    const FilePath other = canonicalPath(entry.url);
    if (target == other) return SkipDuplicate{other};
    // For "/" this asks for "//", which no path begins with: the root covers nothing.
    if (entry.kind == ItemKind::folder && target.bytes().starts_with(other.bytes() + '/')) {
      return SkipChildOfRegistered{other};
    }
  }
  return WillRegister{target, kind, includeSubfolders};
}

}  // namespace quillbrook::RegistrationCoordinator
