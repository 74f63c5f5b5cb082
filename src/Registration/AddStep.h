// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "Platform/FilePath.h"
#include "Registration/AddDecision.h"
#include "Registration/ItemKind.h"

// The way of a place from the open panel or a drop into the registry. Any thread.
namespace quillbrook::AddStep {

// `found` is what is there, links followed; nothing if nothing is.
[[nodiscard]] AddDecision decide(const FilePath& url, std::optional<ItemKind> found, const FilePath& home);
// The user goes on in spite of the warning: a folder is still counted first.
[[nodiscard]] AddDecision afterWarning(const PendingCloudWarning& warning);

}  // namespace quillbrook::AddStep
