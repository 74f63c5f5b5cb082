// SPDX-License-Identifier: MIT
#include "Models/Transaction.h"

#include <utility>

namespace quillbrook {

StoreResult<Transaction> Transaction::begin(const Database& database, StoreAction action) {
  if (auto begun = database.execute(action, "BEGIN IMMEDIATE"); !begun) {
    return std::unexpected(std::move(begun).error());
  }
  return Transaction(database, action);
}

Transaction::Transaction(Transaction&& other) noexcept
    : database_(std::exchange(other.database_, nullptr)), action_(other.action_) {}

Transaction::~Transaction() {
  // Some failures have ended it already. Otherwise undoing only forgets: it may fail without harm.
  if (database_ == nullptr || !database_->isInTransaction()) return;
  [[maybe_unused]] const auto undone = database_->execute(action_, "ROLLBACK");
}

StoreResult<void> Transaction::commit() {
  return database_->execute(action_, "COMMIT");
}

}  // namespace quillbrook
