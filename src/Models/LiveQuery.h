// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "Models/FetchRequest.h"
#include "Models/Row.h"
#include "Models/StoreContext.h"
#include "Models/StoreError.h"
#include "Models/StoreObserver.h"

namespace quillbrook {

// The rows of a fetch, kept up to date: fetched anew after every save of its context, and at each look() that finds
// that others have saved. `observer` is called when rows or failure are others than before. Belongs to the context's
// thread and must not outlive the context.
template <typename Record>
class LiveQuery final : public StoreObserver {
 public:
  LiveQuery(StoreContext& context, FetchRequest<Record> request, std::function<void()> observer)
      : context_(context), request_(std::move(request)), observer_(std::move(observer)) {
    refresh();
    context_.addObserver(*this);
  }
  ~LiveQuery() override { context_.removeObserver(*this); }
  LiveQuery(const LiveQuery&) = delete;
  LiveQuery& operator=(const LiveQuery&) = delete;
  LiveQuery(LiveQuery&&) = delete;
  LiveQuery& operator=(LiveQuery&&) = delete;

  // Where the last fetch failed, as they were before it.
  [[nodiscard]] const std::vector<Row<Record>>& rows() const { return rows_; }
  [[nodiscard]] const std::optional<StoreError>& failure() const { return failure_; }

  void storeChanged() override {
    if (!refresh()) return;
    // A copy, since it may be the observer that does away with this query.
    const auto observer = observer_;
    observer();
  }

 private:
  // Whether anything is other than before.
  bool refresh() {
    auto fetched = context_.fetch(request_);
    const auto failure = fetched ? std::nullopt : std::optional(fetched.error());
    const bool isChanged = failure != failure_ || (fetched && *fetched != rows_);
    failure_ = failure;
    if (fetched) rows_ = std::move(*fetched);
    return isChanged;
  }

  StoreContext& context_;
  FetchRequest<Record> request_;
  std::function<void()> observer_;
  std::vector<Row<Record>> rows_;
  std::optional<StoreError> failure_;
};

}  // namespace quillbrook
