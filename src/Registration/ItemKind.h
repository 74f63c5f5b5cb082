// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace quillbrook {

// What a registered item is.
enum class ItemKind : std::uint8_t { file, folder };

// The word that stands for it in the store: "file", "folder".
[[nodiscard]] std::string_view rawValue(ItemKind kind);
// Nothing for any other word.
[[nodiscard]] std::optional<ItemKind> itemKindOf(std::string_view rawValue);

}  // namespace quillbrook
