// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "Models/CompressionLog.h"
#include "Models/FileSnapshot.h"
#include "Models/IncompressibleFile.h"
#include "Models/RegisteredItem.h"
#include "Models/Statement.h"

namespace quillbrook {

// Where an attribute stands in a table, and where in the record.
template <typename Record, typename Value>
struct Column {
  std::string_view name;
  Value Record::* member;
};

// The table of a record: its name, its columns, and what an insertion does besides adding a row.
template <typename Record>
struct RecordTable;

template <>
struct RecordTable<RegisteredItem> {
  static constexpr std::string_view name = "RegisteredItem";
  static constexpr std::tuple columns{
      Column{"id", &RegisteredItem::id},
      Column{"bookmark", &RegisteredItem::bookmark},
      Column{"kind", &RegisteredItem::kind},
      Column{"includeSubfolders", &RegisteredItem::includeSubfolders},
      Column{"registeredAt", &RegisteredItem::registeredAt},
      Column{"displayName", &RegisteredItem::displayName},
      Column{"notes", &RegisteredItem::notes},
  };
  static constexpr std::string_view insertionRule{};
};

template <>
struct RecordTable<FileSnapshot> {
  static constexpr std::string_view name = "FileSnapshot";
  static constexpr std::tuple columns{
      Column{"id", &FileSnapshot::id},
      Column{"registeredItem", &FileSnapshot::registeredItem},
      Column{"relativePath", &FileSnapshot::relativePath},
      Column{"inode", &FileSnapshot::inode},
      Column{"logicalSize", &FileSnapshot::logicalSize},
      Column{"physicalSize", &FileSnapshot::physicalSize},
      Column{"isCompressed", &FileSnapshot::isCompressed},
      Column{"algorithm", &FileSnapshot::algorithm},
      Column{"mtime", &FileSnapshot::mtime},
      Column{"lastObservedAt", &FileSnapshot::lastObservedAt},
  };
  // If somebody has removed the owner meanwhile, the snapshot goes as it would have gone with it.
  static constexpr std::string_view insertionRule =
      " WHERE ?2 IS NULL OR EXISTS (SELECT 1 FROM RegisteredItem WHERE rowIdentity = ?2)";
};

template <>
struct RecordTable<IncompressibleFile> {
  static constexpr std::string_view name = "IncompressibleFile";
  static constexpr std::tuple columns{
      Column{"targetPath", &IncompressibleFile::targetPath},
      Column{"recordedAt", &IncompressibleFile::recordedAt},
      Column{"sizeAtRecord", &IncompressibleFile::sizeAtRecord},
  };
  // Behind a SELECT, SQLite needs the WHERE to know the ON for what it is.
  static constexpr std::string_view insertionRule =
      " WHERE true ON CONFLICT (targetPath) DO UPDATE"
      " SET recordedAt = excluded.recordedAt, sizeAtRecord = excluded.sizeAtRecord";
};

template <>
struct RecordTable<CompressionLog> {
  static constexpr std::string_view name = "CompressionLog";
  static constexpr std::tuple columns{
      Column{"id", &CompressionLog::id},
      Column{"executedAt", &CompressionLog::executedAt},
      Column{"operation", &CompressionLog::operation},
      Column{"targetPath", &CompressionLog::targetPath},
      Column{"sizeBefore", &CompressionLog::sizeBefore},
      Column{"sizeAfter", &CompressionLog::sizeAfter},
      Column{"algorithm", &CompressionLog::algorithm},
      Column{"durationMs", &CompressionLog::durationMs},
      Column{"success", &CompressionLog::success},
      Column{"errorMessage", &CompressionLog::errorMessage},
  };
  static constexpr std::string_view insertionRule{};
};

// Calls `use(index, column)` for each column, counted from 1.
template <typename Record>
void forEachColumn(const auto& use) {
  std::apply(
      [&](const auto&... column) {
        int index = 0;
        (use(++index, column), ...);
      },
      RecordTable<Record>::columns);
}

// "SELECT rowIdentity, id, ... FROM ..." in the order of insertion.
template <typename Record>
[[nodiscard]] std::string selectText() {
  std::string text = "SELECT rowIdentity";
  forEachColumn<Record>([&](int, const auto& column) { text.append(", ").append(column.name); });
  return text.append(" FROM ").append(RecordTable<Record>::name).append(" ORDER BY rowIdentity");
}

// An insertion that answers the row's identity, or nothing where the rule left it out.
template <typename Record>
[[nodiscard]] std::string insertText() {
  std::string names;
  std::string values;
  forEachColumn<Record>([&](int index, const auto& column) {
    const std::string_view separator = index == 1 ? "" : ", ";
    names.append(separator).append(column.name);
    values.append(separator).append("?").append(std::to_string(index));
  });
  return std::string("INSERT INTO ")
      .append(RecordTable<Record>::name)
      .append(" (")
      .append(names)
      .append(") SELECT ")
      .append(values)
      .append(RecordTable<Record>::insertionRule)
      .append(" RETURNING rowIdentity");
}

template <typename Record>
[[nodiscard]] std::string deleteText() {
  return std::string("DELETE FROM ").append(RecordTable<Record>::name).append(" WHERE rowIdentity = ?1");
}

template <typename Record>
void bindRecord(Statement& statement, const Record& record) {
  forEachColumn<Record>([&](int index, const auto& column) { statement.bind(index, record.*column.member); });
}

// Of a row of selectText.
template <typename Record>
[[nodiscard]] Record readRecord(const Statement& statement) {
  Record record;
  forEachColumn<Record>([&](int index, const auto& column) { statement.read(index, record.*column.member); });
  return record;
}

}  // namespace quillbrook
