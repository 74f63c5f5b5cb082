// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Models/Statement.h"
#include "Models/StoreError.h"
#include "Platform/FilePath.h"

struct sqlite3;

namespace quillbrook {

// One connection to a store's file. Belongs to one thread at a time, and to the process that opened it.
class Database {
 public:
  // How long a store that another program has locked is waited for.
  static constexpr std::chrono::milliseconds patience{5'000};

  // An existing file, for reading and writing. Foreign keys are enforced, and what is committed is on the disk. A
  // write-ahead log that was left beside it stays as it is when the connection closes. On a full disk the connection
  // keeps all others out.
  [[nodiscard]] static StoreResult<std::unique_ptr<Database>> open(const FilePath& store);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;
  Database(Database&&) = delete;
  Database& operator=(Database&&) = delete;

  [[nodiscard]] StoreResult<Statement> prepare(StoreAction action, std::string_view sql) const;
  // One or more statements, whose rows are dropped.
  [[nodiscard]] StoreResult<void> execute(StoreAction action, const std::string& sql) const;
  // The first column of the first row; 0 if there is none.
  [[nodiscard]] StoreResult<std::int64_t> number(StoreAction action, std::string_view sql) const;

  // From here on, the last connection to close empties the write-ahead log into the file.
  void emptyLogOnClose() const;
  [[nodiscard]] bool isInTransaction() const;
  [[nodiscard]] const FilePath& store() const { return store_; }

  // What a call of SQLite's on this connection has just answered.
  [[nodiscard]] StoreError failure(StoreAction action, int code) const;

 private:
  enum class Sharing : std::uint8_t { withOthers, withNobody };

  [[nodiscard]] static StoreResult<std::unique_ptr<Database>> open(const FilePath& store, Sharing sharing);
  explicit Database(FilePath store) : store_(std::move(store)) {}
  [[nodiscard]] StoreResult<void> connect();

  FilePath store_;
  sqlite3* connection_ = nullptr;
};

}  // namespace quillbrook
