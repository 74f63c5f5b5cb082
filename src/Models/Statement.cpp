// SPDX-License-Identifier: MIT
#include "Models/Statement.h"

#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstddef>

#include "Models/Database.h"

namespace quillbrook {

void Statement::Finalize::operator()(sqlite3_stmt* statement) const noexcept {
  sqlite3_finalize(statement);  // repeats the last step's failure, which was told then
}

Statement::Statement(const Database& database, StoreAction action, sqlite3_stmt* prepared)
    : database_(&database), action_(action), statement_(prepared) {}

void Statement::note(int code) {
  if (bindFailure_ == SQLITE_OK) bindFailure_ = code;
}

void Statement::bind(int index, std::int64_t value) {
  note(sqlite3_bind_int64(statement_.get(), index, value));
}

void Statement::bind(int index, const std::string& text) {
  note(sqlite3_bind_text64(statement_.get(), index, text.data(), text.size(), nullptr, SQLITE_UTF8));
}

void Statement::bind(int index, std::span<const std::uint8_t> bytes) {
  // Without an address it would be no value at all.
  const void* data = bytes.empty() ? static_cast<const void*>("") : bytes.data();
  note(sqlite3_bind_blob64(statement_.get(), index, data, bytes.size(), nullptr));
}

void Statement::bind(int index, const FilePath& path) {
  bind(index, std::span(reinterpret_cast<const std::uint8_t*>(path.bytes().data()), path.bytes().size()));
}

void Statement::bindNothing(int index) {
  note(sqlite3_bind_null(statement_.get(), index));
}

StoreResult<bool> Statement::step() {
  const int code = bindFailure_ == SQLITE_OK ? sqlite3_step(statement_.get()) : bindFailure_;
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  return std::unexpected(database_->failure(action_, code));
}

void Statement::reset() {
  sqlite3_reset(statement_.get());  // repeats the last step's failure, which was told then
}

bool Statement::isAbsent(int index) const {
  return sqlite3_column_type(statement_.get(), index) == SQLITE_NULL;
}

std::span<const std::uint8_t> Statement::bytes(int index) const {
  const auto* data = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_.get(), index));
  return {data, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), index))};
}

void Statement::read(int index, std::int64_t& value) const {
  value = sqlite3_column_int64(statement_.get(), index);
}

void Statement::read(int index, bool& value) const {
  value = sqlite3_column_int64(statement_.get(), index) != 0;
}

void Statement::read(int index, StoreDate& value) const {
  value = StoreDate(std::chrono::microseconds(sqlite3_column_int64(statement_.get(), index)));
}

void Statement::read(int index, std::string& text) const {
  const auto found = bytes(index);
  text.assign(found.begin(), found.end());
}

void Statement::read(int index, std::vector<std::uint8_t>& bytes) const {
  const auto found = this->bytes(index);
  bytes.assign(found.begin(), found.end());
}

void Statement::read(int index, FilePath& path) const {
  std::string text;
  read(index, text);
  path = FilePath(std::move(text));
}

void Statement::read(int index, UUID& uuid) const {
  std::ranges::copy(bytes(index).first(uuid.bytes.size()), uuid.bytes.begin());
}

}  // namespace quillbrook
