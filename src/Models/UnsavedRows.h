// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <unordered_map>

#include "Models/ContextTable.h"
#include "Models/IncompressibleFile.h"
#include "Models/RowHandle.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// What a table's unsaved insertions will be once they are saved: of those with one path, where a path may stand only
// once, the last. Refers to the table, which must outlive it unchanged.
template <typename Record>
class UnsavedRows {
 public:
  explicit UnsavedRows(const ContextTable<Record>& table) : table_(table) {}

  [[nodiscard]] bool replace(const Record& /*stored*/) const { return false; }

  void forEach(const auto& use) const {
    for (const auto& row : table_.inserted) use(row);
  }

 private:
  const ContextTable<Record>& table_;
};

template <>
class UnsavedRows<IncompressibleFile> {
 public:
  explicit UnsavedRows(const ContextTable<IncompressibleFile>& table) : table_(table) {
    for (const auto& row : table.inserted) last_[row.record.targetPath] = row.handle;
  }

  [[nodiscard]] bool replace(const IncompressibleFile& stored) const { return last_.contains(stored.targetPath); }

  void forEach(const auto& use) const {
    for (const auto& row : table_.inserted) {
      if (last_.at(row.record.targetPath) == row.handle) use(row);
    }
  }

 private:
  const ContextTable<IncompressibleFile>& table_;
  std::unordered_map<FilePath, RowHandle<IncompressibleFile>> last_;
};

}  // namespace quillbrook
