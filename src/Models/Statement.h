// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Models/RowHandle.h"
#include "Models/StoreDate.h"
#include "Models/StoreError.h"
#include "Models/UUID.h"
#include "Platform/FilePath.h"

struct sqlite3_stmt;

namespace quillbrook {

class Database;

// One prepared statement of a database, which must outlive it.
class Statement {
 public:
  Statement(const Database& database, StoreAction action, sqlite3_stmt* prepared);

  // Parameters, counted from 1. Text and bytes are not copied: they must stay until the last step.
  void bind(int index, std::int64_t value);
  void bind(int index, bool value) { bind(index, std::int64_t{value}); }
  void bind(int index, StoreDate value) { bind(index, std::int64_t{value.time_since_epoch().count()}); }
  void bind(int index, const std::string& text);
  void bind(int index, std::span<const std::uint8_t> bytes);
  void bind(int index, const FilePath& path);
  void bind(int index, const UUID& uuid) { bind(index, std::span(uuid.bytes)); }
  template <typename Record>
  void bind(int index, RowHandle<Record> row) {
    bind(index, row.number);
  }
  template <typename Value>
  void bind(int index, const std::optional<Value>& value) {
    if (value) {
      bind(index, *value);
    } else {
      bindNothing(index);
    }
  }

  // Whether there is a row, or another one. A failed bind shows here.
  [[nodiscard]] StoreResult<bool> step();
  // Makes it ready for the next round of bind and step.
  void reset();

  // Columns of the row, counted from 0.
  void read(int index, std::int64_t& value) const;
  void read(int index, bool& value) const;
  void read(int index, StoreDate& value) const;
  void read(int index, std::string& text) const;
  void read(int index, std::vector<std::uint8_t>& bytes) const;
  void read(int index, FilePath& path) const;
  void read(int index, UUID& uuid) const;
  template <typename Record>
  void read(int index, RowHandle<Record>& row) const {
    read(index, row.number);
  }
  template <typename Value>
  void read(int index, std::optional<Value>& value) const {
    if (isAbsent(index)) {
      value.reset();
    } else {
      read(index, value.emplace());
    }
  }

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const noexcept;
  };

  void note(int code);
  void bindNothing(int index);
  [[nodiscard]] bool isAbsent(int index) const;
  [[nodiscard]] std::span<const std::uint8_t> bytes(int index) const;

  const Database* database_;
  StoreAction action_;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
  int bindFailure_ = 0;  // the first one's code
};

}  // namespace quillbrook
