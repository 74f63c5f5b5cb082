// SPDX-License-Identifier: MIT
#pragma once

#include <array>

#include "Models/Database.h"
#include "Models/SchemaV1.h"
#include "Models/SchemaV2.h"
#include "Models/SchemaVersion.h"
#include "Models/StoreError.h"

// How a store of any version that ever was becomes one of the present version.
namespace quillbrook::QuillbrookMigrationPlan {

inline constexpr std::array schemas{SchemaV1::version, SchemaV2::version};
inline constexpr SchemaVersion current = schemas.back();

// SQLite's mark of a file of ours, PRAGMA application_id: "QBST".
inline constexpr std::int64_t applicationId = 0x51'42'53'54;

// The version of a store; before the first, 0.0.0, of a file that holds nothing yet. Refuses what is not ours, newer,
// or of a version that never was; changes nothing.
[[nodiscard]] StoreResult<SchemaVersion> versionOf(const Database& database);

// Makes the tables that are missing, in one transaction. `versionOf` has accepted the store.
[[nodiscard]] StoreResult<void> migrate(const Database& database);

}  // namespace quillbrook::QuillbrookMigrationPlan
