// SPDX-License-Identifier: MIT
#pragma once

namespace quillbrook {

// Whoever a context tells that its store has changed.
class StoreObserver {
 public:
  virtual ~StoreObserver() = default;
  virtual void storeChanged() = 0;
};

}  // namespace quillbrook
