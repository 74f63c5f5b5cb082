// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <thread>
#include <tuple>
#include <vector>

#include "Models/CompressionLog.h"
#include "Models/ContextTable.h"
#include "Models/FetchRequest.h"
#include "Models/FileSnapshot.h"
#include "Models/IncompressibleFile.h"
#include "Models/RegisteredItem.h"
#include "Models/Row.h"
#include "Models/RowHandle.h"
#include "Models/StoreContainer.h"
#include "Models/StoreError.h"
#include "Models/StoreObserver.h"

namespace quillbrook {

class Database;

// A unit of work over a store: what is inserted and erased is seen by this context's own fetches at once and by nobody
// else before save(). Nothing is saved by itself; what was not saved goes with the context. Belongs to the thread that
// made it, and so do its handles. `Record` is RegisteredItem, FileSnapshot, IncompressibleFile or CompressionLog.
//
// Between calls it holds no lock, so that other contexts and processes may read and save meanwhile.
class StoreContext {
 public:
  explicit StoreContext(StoreContainer container);
  ~StoreContext();
  StoreContext(const StoreContext&) = delete;
  StoreContext& operator=(const StoreContext&) = delete;
  StoreContext(StoreContext&&) = delete;
  StoreContext& operator=(StoreContext&&) = delete;

  // Of IncompressibleFile, it takes the place of a row with the same path.
  template <typename Record>
  RowHandle<Record> insert(Record record);
  // With a RegisteredItem go its snapshots. A row that is gone already is no failure.
  template <typename Record>
  void erase(RowHandle<Record> row);

  // Reads one state of the store, whatever others save meanwhile.
  template <typename Record>
  [[nodiscard]] StoreResult<std::vector<Row<Record>>> fetch(const FetchRequest<Record>& request = {});
  [[nodiscard]] StoreResult<std::vector<Row<FileSnapshot>>> snapshots(RowHandle<RegisteredItem> item);

  [[nodiscard]] bool hasChanges() const;
  // All unsaved changes or, on failure, none: then they stay here, to be saved by the next call. Tells the observers.
  [[nodiscard]] StoreResult<void> save();

  // Tells the observers if another context or process has saved since they were last told. Cheap where nobody has.
  void look();
  // Told in this thread, until it is removed.
  void addObserver(StoreObserver& observer);
  void removeObserver(StoreObserver& observer);

 private:
  [[nodiscard]] StoreResult<void> connect();
  // The unsaved changes, in one transaction.
  [[nodiscard]] StoreResult<void> write();
  [[nodiscard]] bool haveOthersSaved();
  void tellObservers();

  template <typename Record>
  [[nodiscard]] ContextTable<Record>& table() {
    return std::get<ContextTable<Record>>(tables_);
  }
  // Calls `step(table)` for one table after the other, up to the first failure.
  [[nodiscard]] StoreResult<void> forEachTable(const auto& step);
  template <typename Record>
  [[nodiscard]] StoreResult<void> eraseRows(const ContextTable<Record>& rows) const;
  template <typename Record>
  [[nodiscard]] StoreResult<void> insertRows(ContextTable<Record>& rows);

  // Records as the file holds them, where owners are rows of the file, and back.
  template <typename Record>
  [[nodiscard]] Record stored(Record record);
  template <typename Record>
  [[nodiscard]] Row<Record> fetched(std::int64_t fileRow, Record storedRecord);
  template <typename Record>
  [[nodiscard]] bool isErased(std::int64_t fileRow, const Record& storedRecord);

  StoreContainer container_;
  std::unique_ptr<Database> database_;       // opened by the first call that needs it
  std::optional<std::int64_t> seenVersion_;  // when the observers were last told, of what others have saved
  std::int64_t lastNumber_ = 0;              // of an inserted row
  // Owners stand before what they own.
  std::tuple<ContextTable<RegisteredItem>, ContextTable<FileSnapshot>, ContextTable<IncompressibleFile>,
             ContextTable<CompressionLog>>
      tables_;
  std::vector<StoreObserver*> observers_;
  std::thread::id thread_ = std::this_thread::get_id();
};

}  // namespace quillbrook
