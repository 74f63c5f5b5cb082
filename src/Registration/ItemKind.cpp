// SPDX-License-Identifier: MIT
#include "Registration/ItemKind.h"

namespace quillbrook {

std::string_view rawValue(ItemKind kind) {
  return kind == ItemKind::file ? "file" : "folder";
}

std::optional<ItemKind> itemKindOf(std::string_view rawValue) {
  if (rawValue == "file") return ItemKind::file;
  if (rawValue == "folder") return ItemKind::folder;
  return std::nullopt;
}

}  // namespace quillbrook
