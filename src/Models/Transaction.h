// SPDX-License-Identifier: MIT
#pragma once

#include "Models/Database.h"
#include "Models/StoreError.h"

namespace quillbrook {

// Changes that are made together or not at all: undone with the object unless they are committed. Holds the store's one
// lock for writing from the start, so that nothing in it can find the store locked half way.
class Transaction {
 public:
  [[nodiscard]] static StoreResult<Transaction> begin(const Database& database, StoreAction action);
  ~Transaction();
  Transaction(Transaction&& other) noexcept;
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  Transaction& operator=(Transaction&&) = delete;

  [[nodiscard]] StoreResult<void> commit();

 private:
  Transaction(const Database& database, StoreAction action) : database_(&database), action_(action) {}

  const Database* database_;  // none once it was moved away
  StoreAction action_;
};

}  // namespace quillbrook
