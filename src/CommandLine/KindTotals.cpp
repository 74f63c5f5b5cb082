// SPDX-License-Identifier: MIT
#include "CommandLine/KindTotals.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace quillbrook {
namespace {

// Names like "cache.1a2b3c" would make a kind of every file.
constexpr std::size_t maximumKinds = 4'096;
constexpr std::size_t longestExtension = 16;

std::string kindOf(const FilePath& path) {
  const std::string_view extension = path.extension();
  if (extension.empty() || extension.size() > longestExtension) return "no extension";
  std::string kind = ".";
  for (const char c : extension) kind += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return kind;
}

void addTo(KindTotals::Row& row, const KindTotals::Row& other) {
  row.files += other.files;
  row.bytesBefore += other.bytesBefore;
  row.bytesAfter += other.bytesAfter;
}

}  // namespace

void KindTotals::add(const FilePath& path, std::int64_t bytesBefore, std::int64_t bytesAfter) {
  std::string kind = kindOf(path);
  const Row file{.kind = kind, .files = 1, .bytesBefore = bytesBefore, .bytesAfter = bytesAfter};
  if (const auto known = kinds_.find(kind); known != kinds_.end()) {
    addTo(known->second, file);
  } else if (kinds_.size() < maximumKinds) {
    kinds_.emplace(std::move(kind), file);
  } else {
    addTo(rest_, file);
  }
}

std::vector<KindTotals::Row> KindTotals::rows(std::size_t limit) const {
  std::vector<Row> rows;
  rows.reserve(kinds_.size() + 1);
  for (const auto& [kind, row] : kinds_) rows.push_back(row);
  std::ranges::sort(rows, {}, [](const Row& row) { return std::pair(-row.saved(), std::string_view(row.kind)); });
  Row others = rest_;
  for (std::size_t i = limit; i < rows.size(); ++i) addTo(others, rows[i]);
  rows.resize(std::min(limit, rows.size()));
  if (others.files > 0) rows.push_back(std::move(others));
  return rows;
}

KindTotals::Row KindTotals::total() const {
  Row total = rest_;
  total.kind = "total";
  for (const auto& [kind, row] : kinds_) addTo(total, row);
  return total;
}

}  // namespace quillbrook
