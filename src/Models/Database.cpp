// SPDX-License-Identifier: MIT
#include "Models/Database.h"

#include <sqlite3.h>

#include <chrono>
#include <filesystem>
#include <system_error>
#include <utility>
#include <variant>

namespace quillbrook {
namespace {

bool hasLog(const FilePath& store) {
  std::error_code error;
  const auto byteCount = std::filesystem::file_size(store.bytes() + "-wal", error);
  return !error && byteCount > 0;
}

void keepLog(sqlite3* connection, bool keep) {
  // Cannot fail: the connection is open and knows the option.
  sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, keep ? 1 : 0, nullptr);
}

}  // namespace

StoreResult<std::unique_ptr<Database>> Database::open(const FilePath& store) {
  auto database = open(store, Sharing::withOthers);
  if (!database) return database;
  // The first read makes the memory that connections share, a file beside the store. On a full disk there is no room
  // for it; who has the store alone needs none.
  const auto read = (*database)->number(StoreAction::open, "SELECT count(*) FROM sqlite_schema");
  if (read || !std::holds_alternative<StoreErrors::DiskFull>(read.error())) return database;
  database->reset();
  return open(store, Sharing::withNobody);
}

StoreResult<std::unique_ptr<Database>> Database::open(const FilePath& store, Sharing sharing) {
  std::unique_ptr<Database> database(new Database(store));
  if (auto connected = database->connect(); !connected) return std::unexpected(std::move(connected).error());
  if (sharing == Sharing::withOthers) return database;
  if (auto alone = database->execute(StoreAction::open, "PRAGMA locking_mode = EXCLUSIVE"); !alone) {
    return std::unexpected(std::move(alone).error());
  }
  return database;
}

StoreResult<void> Database::connect() {
  // Not SQLITE_OPEN_CREATE: whoever makes the file decides who may read it.
  constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
  if (const int code = sqlite3_open_v2(store_.c_str(), &connection_, flags, nullptr); code != SQLITE_OK) {
    return std::unexpected(failure(StoreAction::open, code));
  }
  // SQLite opens what it may not write for reading alone.
  if (sqlite3_db_readonly(connection_, "main") != 0) return std::unexpected(StoreErrors::ReadOnly{store_});
  // An empty one is put away as usual, so that a store that is refused has nothing new beside it.
  keepLog(connection_, hasLog(store_));
  if (const int code = sqlite3_busy_timeout(connection_, static_cast<int>(patience.count())); code != SQLITE_OK) {
    return std::unexpected(failure(StoreAction::open, code));
  }
  return execute(StoreAction::open, "PRAGMA foreign_keys = ON; PRAGMA synchronous = FULL");
}

Database::~Database() {
  // Fails only while a statement lives, and those do not outlive their database.
  sqlite3_close(connection_);
}

StoreResult<Statement> Database::prepare(StoreAction action, std::string_view sql) const {
  sqlite3_stmt* prepared = nullptr;
  const int code = sqlite3_prepare_v2(connection_, sql.data(), static_cast<int>(sql.size()), &prepared, nullptr);
  if (code != SQLITE_OK) return std::unexpected(failure(action, code));
  return Statement(*this, action, prepared);
}

StoreResult<void> Database::execute(StoreAction action, const std::string& sql) const {
  const int code = sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) return std::unexpected(failure(action, code));
  return {};
}

StoreResult<std::int64_t> Database::number(StoreAction action, std::string_view sql) const {
  auto statement = prepare(action, sql);
  if (!statement) return std::unexpected(std::move(statement).error());
  const auto hasRow = statement->step();
  if (!hasRow) return std::unexpected(hasRow.error());
  std::int64_t value = 0;
  if (*hasRow) statement->read(0, value);
  return value;
}

void Database::emptyLogOnClose() const {
  keepLog(connection_, false);
}

bool Database::isInTransaction() const {
  return sqlite3_get_autocommit(connection_) == 0;
}

StoreError Database::failure(StoreAction action, int code) const {
  std::string words = connection_ == nullptr ? sqlite3_errstr(code) : sqlite3_errmsg(connection_);
  const int primary = code & 0xFF;
  // Of other failures SQLite does not keep the system's number, but an older one.
  const bool isOfSystem = primary == SQLITE_IOERR || primary == SQLITE_CANTOPEN;
  const ErrorNumber reason{isOfSystem && connection_ != nullptr ? sqlite3_system_errno(connection_) : 0};
  if (reason == ErrorNumber::noSpace) return StoreErrors::DiskFull{store_, action, std::move(words)};
  switch (primary) {
    case SQLITE_CANTOPEN: return StoreErrors::CannotOpen{store_, reason, std::move(words)};
    case SQLITE_READONLY: return StoreErrors::ReadOnly{store_};
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL: return StoreErrors::Busy{store_, action, std::move(words)};
    case SQLITE_FULL: return StoreErrors::DiskFull{store_, action, std::move(words)};
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB: return StoreErrors::Damaged{store_, std::move(words)};
    default: return StoreErrors::Failed{store_, action, code, reason, std::move(words)};
  }
}

}  // namespace quillbrook
