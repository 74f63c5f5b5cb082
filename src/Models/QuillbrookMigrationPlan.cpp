// SPDX-License-Identifier: MIT
#include "Models/QuillbrookMigrationPlan.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "Models/Transaction.h"

namespace quillbrook::QuillbrookMigrationPlan {
namespace {

constexpr SchemaVersion none;

std::string markText() {
  return fmt::format("PRAGMA application_id = {}; PRAGMA user_version = {}", applicationId, current.number());
}

}  // namespace

StoreResult<SchemaVersion> versionOf(const Database& database) {
  // One statement sees one state, also while another process makes or migrates the store.
  auto mark = database.prepare(StoreAction::open,
                               "SELECT application_id, user_version, (SELECT count(*) FROM sqlite_schema) "
                               "FROM pragma_application_id, pragma_user_version");
  if (!mark) return std::unexpected(std::move(mark).error());
  if (const auto hasRow = mark->step(); !hasRow) return std::unexpected(hasRow.error());
  std::int64_t application = 0;
  std::int64_t number = 0;
  std::int64_t tableCount = 0;
  mark->read(0, application);
  mark->read(1, number);
  mark->read(2, tableCount);
  if (application == 0 && number == 0 && tableCount == 0) return none;
  if (application != applicationId) return std::unexpected(StoreErrors::Foreign{database.store()});
  const auto version = SchemaVersion::ofNumber(number);
  if (version > current) return std::unexpected(StoreErrors::NewerVersion{database.store(), version.text()});
  if (std::ranges::find(schemas, version) == schemas.end()) {
    return std::unexpected(
        StoreErrors::Damaged{database.store(), fmt::format("there is no schema {}", version.text())});
  }
  return version;
}

StoreResult<void> migrate(const Database& database) {
  auto transaction = Transaction::begin(database, StoreAction::open);
  if (!transaction) return std::unexpected(std::move(transaction).error());
  // Asked again, since another process may have been first.
  const auto version = versionOf(database);
  if (!version) return std::unexpected(version.error());
  std::string steps;
  if (*version < SchemaV1::version) steps += SchemaV1::tables;
  if (*version < SchemaV2::version) steps += SchemaV2::addedTables;
  if (auto made = database.execute(StoreAction::open, steps + markText()); !made) return made;
  return transaction->commit();
}

}  // namespace quillbrook::QuillbrookMigrationPlan
