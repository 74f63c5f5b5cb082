// SPDX-License-Identifier: MIT
#include "Models/StoreContext.h"

#include <algorithm>
#include <cassert>
#include <concepts>
#include <string_view>
#include <utility>

#include "Models/Database.h"
#include "Models/RecordTable.h"
#include "Models/Statement.h"
#include "Models/Transaction.h"
#include "Models/UnsavedRows.h"

namespace quillbrook {
namespace {

constexpr std::string_view savedByOthers = "PRAGMA data_version";

// Rows of which neither stands before the other stay as they were.
template <typename Record>
std::vector<Row<Record>> sorted(std::vector<Row<Record>> rows, const auto& before) {
  std::vector<Row<Record>*> order;
  order.reserve(rows.size());
  for (auto& row : rows) order.push_back(&row);
  std::ranges::sort(order, [&](const auto* a, const auto* b) {
    if (before(a->record, b->record)) return true;
    return a < b && !before(b->record, a->record);
  });
  std::vector<Row<Record>> result;
  result.reserve(rows.size());
  for (auto* row : order) result.push_back(std::move(*row));
  return result;
}

bool isOwnedBy(const FileSnapshot& snapshot, RowHandle<RegisteredItem> item) {
  return snapshot.registeredItem == item;
}

}  // namespace

StoreContext::StoreContext(StoreContainer container) : container_(std::move(container)) {}

StoreContext::~StoreContext() = default;

StoreResult<void> StoreContext::connect() {
  assert(thread_ == std::this_thread::get_id());
  if (database_) return {};
  auto database = container_.connect();
  if (!database) return std::unexpected(std::move(database).error());
  database_ = std::move(*database);
  return {};
}

template <typename Record>
RowHandle<Record> StoreContext::insert(Record record) {
  assert(thread_ == std::this_thread::get_id());
  const RowHandle<Record> handle{--lastNumber_};
  table<Record>().inserted.push_back({handle, std::move(record)});
  return handle;
}

template <typename Record>
void StoreContext::erase(RowHandle<Record> row) {
  assert(thread_ == std::this_thread::get_id());
  auto& rows = table<Record>();
  if (const std::int64_t fileRow = rows.numbers.fileRow(row.number); fileRow > 0) {
    rows.erasedFileRows.insert(fileRow);
  } else {
    std::erase_if(rows.inserted, [&](const auto& unsaved) { return unsaved.handle == row; });
  }
  if constexpr (std::same_as<Record, RegisteredItem>) {
    std::erase_if(table<FileSnapshot>().inserted, [&](const auto& unsaved) { return isOwnedBy(unsaved.record, row); });
  }
}

template <typename Record>
Record StoreContext::stored(Record record) {
  if constexpr (std::same_as<Record, FileSnapshot>) {
    if (record.registeredItem) {
      const auto& items = table<RegisteredItem>();
      auto& owner = record.registeredItem->number;
      owner = items.newNumbers.fileRow(items.numbers.fileRow(owner));
    }
  }
  return record;
}

template <typename Record>
Row<Record> StoreContext::fetched(std::int64_t fileRow, Record storedRecord) {
  if constexpr (std::same_as<Record, FileSnapshot>) {
    if (storedRecord.registeredItem) {
      auto& owner = storedRecord.registeredItem->number;
      owner = table<RegisteredItem>().numbers.number(owner);
    }
  }
  return {{table<Record>().numbers.number(fileRow)}, std::move(storedRecord)};
}

template <typename Record>
bool StoreContext::isErased(std::int64_t fileRow, const Record& storedRecord) {
  if constexpr (std::same_as<Record, FileSnapshot>) {
    const auto& erasedItems = table<RegisteredItem>().erasedFileRows;
    if (storedRecord.registeredItem && erasedItems.contains(storedRecord.registeredItem->number)) return true;
  }
  return table<Record>().erasedFileRows.contains(fileRow);
}

template <typename Record>
StoreResult<std::vector<Row<Record>>> StoreContext::fetch(const FetchRequest<Record>& request) {
  if (auto connected = connect(); !connected) return std::unexpected(std::move(connected).error());
  auto select = database_->prepare(StoreAction::read, selectText<Record>());
  if (!select) return std::unexpected(std::move(select).error());

  const UnsavedRows<Record> unsaved(table<Record>());
  std::vector<Row<Record>> rows;
  const auto take = [&](Row<Record> row) {
    if (!request.where || request.where(row.record)) rows.push_back(std::move(row));
  };
  for (;;) {
    const auto hasRow = select->step();
    if (!hasRow) return std::unexpected(hasRow.error());
    if (!*hasRow) break;
    std::int64_t fileRow = 0;
    select->read(0, fileRow);
    auto record = readRecord<Record>(*select);
    if (!isErased(fileRow, record) && !unsaved.replace(record)) take(fetched(fileRow, std::move(record)));
  }
  unsaved.forEach(take);
  if (!request.before) return rows;
  return sorted(std::move(rows), request.before);
}

StoreResult<std::vector<Row<FileSnapshot>>> StoreContext::snapshots(RowHandle<RegisteredItem> item) {
  return fetch<FileSnapshot>({.where = [&](const auto& snapshot) { return isOwnedBy(snapshot, item); }, .before = {}});
}

bool StoreContext::hasChanges() const {
  const auto isChanged = [](const auto&... each) {
    return (... || (!each.inserted.empty() || !each.erasedFileRows.empty()));
  };
  return std::apply(isChanged, tables_);
}

StoreResult<void> StoreContext::forEachTable(const auto& step) {
  StoreResult<void> done;
  std::apply([&](auto&... each) { static_cast<void>((... && (done = step(each)).has_value())); }, tables_);
  return done;
}

template <typename Record>
StoreResult<void> StoreContext::eraseRows(const ContextTable<Record>& rows) const {
  if (rows.erasedFileRows.empty()) return {};
  auto statement = database_->prepare(StoreAction::save, deleteText<Record>());
  if (!statement) return std::unexpected(std::move(statement).error());
  for (const std::int64_t fileRow : rows.erasedFileRows) {
    statement->bind(1, fileRow);
    if (const auto done = statement->step(); !done) return std::unexpected(done.error());
    statement->reset();
  }
  return {};
}

template <typename Record>
StoreResult<void> StoreContext::insertRows(ContextTable<Record>& rows) {
  rows.newNumbers = {};
  if (rows.inserted.empty()) return {};
  auto statement = database_->prepare(StoreAction::save, insertText<Record>());
  if (!statement) return std::unexpected(std::move(statement).error());
  for (const auto& [handle, record] : rows.inserted) {
    const Record bound = stored(record);
    bindRecord(*statement, bound);
    const auto hasRow = statement->step();
    if (!hasRow) return std::unexpected(hasRow.error());
    if (*hasRow) {
      std::int64_t fileRow = 0;
      statement->read(0, fileRow);
      rows.newNumbers.note(handle.number, fileRow);
    }
    statement->reset();
  }
  return {};
}

StoreResult<void> StoreContext::write() {
  auto transaction = Transaction::begin(*database_, StoreAction::save);
  if (!transaction) return std::unexpected(std::move(transaction).error());
  // Erased first: a path that was erased may have been inserted anew.
  if (auto erased = forEachTable([&](const auto& rows) { return eraseRows(rows); }); !erased) return erased;
  if (auto inserted = forEachTable([&](auto& rows) { return insertRows(rows); }); !inserted) return inserted;
  return transaction->commit();
}

StoreResult<void> StoreContext::save() {
  if (!hasChanges()) return {};
  if (auto connected = connect(); !connected) return connected;
  if (auto written = write(); !written) return written;
  const auto settle = [](auto& rows) {
    rows.numbers.merge(rows.newNumbers);
    rows.newNumbers = {};
    rows.inserted.clear();
    rows.erasedFileRows.clear();
  };
  std::apply([&](auto&... each) { (settle(each), ...); }, tables_);
  tellObservers();
  return {};
}

bool StoreContext::haveOthersSaved() {
  if (!connect()) return true;
  const auto version = database_->number(StoreAction::read, savedByOthers);
  const bool isSame = version && seenVersion_ == *version;
  if (version) seenVersion_ = *version;
  return !isSame;
}

void StoreContext::look() {
  if (haveOthersSaved()) tellObservers();
}

void StoreContext::addObserver(StoreObserver& observer) {
  assert(thread_ == std::this_thread::get_id());
  observers_.push_back(&observer);
}

void StoreContext::removeObserver(StoreObserver& observer) {
  assert(thread_ == std::this_thread::get_id());
  std::erase(observers_, &observer);
}

void StoreContext::tellObservers() {
  // An observer may add and remove others, and itself.
  const auto observers = observers_;
  for (auto* observer : observers) {
    if (std::ranges::find(observers_, observer) != observers_.end()) observer->storeChanged();
  }
}

template RowHandle<RegisteredItem> StoreContext::insert(RegisteredItem);
template RowHandle<FileSnapshot> StoreContext::insert(FileSnapshot);
template RowHandle<IncompressibleFile> StoreContext::insert(IncompressibleFile);
template RowHandle<CompressionLog> StoreContext::insert(CompressionLog);
template void StoreContext::erase(RowHandle<RegisteredItem>);
template void StoreContext::erase(RowHandle<FileSnapshot>);
template void StoreContext::erase(RowHandle<IncompressibleFile>);
template void StoreContext::erase(RowHandle<CompressionLog>);
template StoreResult<std::vector<Row<RegisteredItem>>> StoreContext::fetch(const FetchRequest<RegisteredItem>&);
template StoreResult<std::vector<Row<FileSnapshot>>> StoreContext::fetch(const FetchRequest<FileSnapshot>&);
template StoreResult<std::vector<Row<IncompressibleFile>>> StoreContext::fetch(const FetchRequest<IncompressibleFile>&);
template StoreResult<std::vector<Row<CompressionLog>>> StoreContext::fetch(const FetchRequest<CompressionLog>&);

}  // namespace quillbrook
