// SPDX-License-Identifier: MIT
#pragma once

#include <span>

#include "Platform/FilePath.h"
#include "Registration/ExistingRegistration.h"
#include "Registration/ItemKind.h"
#include "Registration/RegistrationDecision.h"

// The registry never holds a place twice, and takes in no place that a registered folder covers. In the other direction
// nothing is asked: a folder may be registered over items that are, and these stay.
namespace quillbrook::RegistrationCoordinator {

// Of `existing`, the first that stands in the way decides. A folder covers all levels below it, whether or not it was
// registered with its subfolders; a file covers nothing, and neither does "/". Pure; any thread.
[[nodiscard]] RegistrationDecision decide(const FilePath& url, ItemKind kind, bool includeSubfolders,
                                          std::span<const ExistingRegistration> existing);

}  // namespace quillbrook::RegistrationCoordinator
