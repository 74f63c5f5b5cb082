// SPDX-License-Identifier: MIT
#pragma once

#include "Models/Database.h"
#include "Models/StoreContainer.h"
#include "Models/StoreContext.h"
#include "SampleRecords.h"
#include "Support/ScratchFolder.h"

namespace quillbrook::test {

template <typename Record>
std::vector<Record> records(const std::vector<Row<Record>>& rows) {
  std::vector<Record> found;
  found.reserve(rows.size());
  for (const auto& row : rows) found.push_back(row.record);
  return found;
}

template <typename Record>
std::vector<Record> all(StoreContext& context, const FetchRequest<Record>& request = {}) {
  return records(context.fetch(request).value());
}

// What the store holds for everybody.
template <typename Record>
std::vector<Record> saved(const StoreContainer& container) {
  StoreContext context(container);
  return all<Record>(context);
}

inline void execute(const FilePath& store, const std::string& sql) {
  const auto database = Database::open(store).value();
  database->emptyLogOnClose();
  database->execute(StoreAction::save, sql).value();
}

// A store of the test's own, opened.
class StoreFixture : public testing::Test {
 protected:
  [[nodiscard]] FilePath store() const { return scratch.path("store.sqlite"); }

  ScratchFolder scratch;
  StoreContainer container = makeStoreContainer(store()).value();
};

}  // namespace quillbrook::test
