// SPDX-License-Identifier: MIT
#pragma once

#include "Models/RowHandle.h"

namespace quillbrook {

// A record with what names it in its context. A copy: changing it changes nothing in the store.
template <typename Record>
struct Row {
  RowHandle<Record> handle;
  Record record;
  friend bool operator==(const Row&, const Row&) = default;
};

}  // namespace quillbrook
