// SPDX-License-Identifier: MIT
#include "Models/StoreContainer.h"

#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <variant>

#include "Models/Database.h"
#include "Models/QuillbrookMigrationPlan.h"
#include "Models/RecordTable.h"
#include "Platform/PrivateFile.h"

namespace quillbrook {
namespace {

using namespace std::chrono_literals;

constexpr auto pause = 10ms;

StoreResult<void> requireSound(const Database& database) {
  auto check = database.prepare(StoreAction::open, "PRAGMA quick_check(1)");
  if (!check) return std::unexpected(std::move(check).error());
  if (const auto hasRow = check->step(); !hasRow) return std::unexpected(hasRow.error());
  std::string finding;
  check->read(0, finding);
  if (finding == "ok") return {};
  // A line before it may name the database.
  return std::unexpected(StoreErrors::Damaged{database.store(), finding.substr(finding.rfind('\n') + 1)});
}

template <typename Record>
StoreResult<void> requireTable(const Database& database) {
  auto statement = database.prepare(StoreAction::open, selectText<Record>());
  if (statement) return {};
  // It has been read before, so what SQLite misses is a table or a column.
  const auto* failure = std::get_if<StoreErrors::Failed>(&statement.error());
  if (failure == nullptr) return std::unexpected(std::move(statement).error());
  return std::unexpected(StoreErrors::Damaged{database.store(), failure->words});
}

StoreResult<void> requireTables(const Database& database, SchemaVersion version) {
  if (version < SchemaV1::version) return {};
  if (auto found = requireTable<RegisteredItem>(database); !found) return found;
  if (auto found = requireTable<FileSnapshot>(database); !found) return found;
  if (auto found = requireTable<CompressionLog>(database); !found) return found;
  if (version < SchemaV2::version) return {};
  return requireTable<IncompressibleFile>(database);
}

// Where the file system allows no write-ahead log, SQLite stays with its older journal, which is as safe.
StoreResult<void> switchToLog(const Database& database) {
  // SQLite itself does not wait where two processes do this to a new store at once.
  const auto end = std::chrono::steady_clock::now() + Database::patience;
  for (;;) {
    auto done = database.execute(StoreAction::open, "PRAGMA journal_mode = WAL");
    const bool isBusy = !done && std::holds_alternative<StoreErrors::Busy>(done.error());
    if (!isBusy || std::chrono::steady_clock::now() >= end) return done;
    std::this_thread::sleep_for(pause);
  }
}

}  // namespace

StoreResult<std::unique_ptr<Database>> StoreContainer::connect() const {
  auto database = Database::open(path_);
  if (!database) return database;
  const auto version = QuillbrookMigrationPlan::versionOf(**database);
  if (!version) return std::unexpected(version.error());
  if (*version != QuillbrookMigrationPlan::current) {
    return std::unexpected(StoreErrors::CannotOpen{path_, {}, "it has been exchanged for an earlier one"});
  }
  (*database)->emptyLogOnClose();
  return database;
}

StoreResult<StoreContainer> makeStoreContainer(const FilePath& path) {
  if (const auto made = PrivateFile::create(path); !made && made.error() != ErrorNumber::exists) {
    if (made.error() == ErrorNumber::readOnly) return std::unexpected(StoreErrors::ReadOnly{path});
    return std::unexpected(StoreErrors::CannotOpen{path, made.error(), "the file cannot be created"});
  }
  const auto opened = Database::open(path);
  if (!opened) return std::unexpected(opened.error());
  const Database& database = **opened;
  const auto version = QuillbrookMigrationPlan::versionOf(database);
  if (!version) return std::unexpected(version.error());
  if (auto sound = requireSound(database); !sound) return std::unexpected(std::move(sound).error());
  if (auto complete = requireTables(database, *version); !complete) return std::unexpected(std::move(complete).error());
  database.emptyLogOnClose();
  if (auto logged = switchToLog(database); !logged) return std::unexpected(std::move(logged).error());
  if (*version < QuillbrookMigrationPlan::current) {
    if (auto migrated = QuillbrookMigrationPlan::migrate(database); !migrated) {
      return std::unexpected(std::move(migrated).error());
    }
  }
  return StoreContainer(path);
}

}  // namespace quillbrook
