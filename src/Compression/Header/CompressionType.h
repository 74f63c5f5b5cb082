// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace quillbrook {

// How a compressed file's content is stored: the type field of the decmpfs header. In the order of iteration.
// "Attr" types keep it in the attribute behind the header, "Rsrc" types in the resource fork.
// NOLINTNEXTLINE(performance-enum-size): as wide as the field, so that no unknown value becomes a known one
enum class CompressionType : std::uint32_t {
  uncompressedAttr = 1,
  zlibAttr = 3,
  zlibRsrc = 4,
  datalessSparse = 5,
  uncompressedRsrc = 6,
  lzvnAttr = 7,
  lzvnRsrc = 8,
  uncompressedAttrV2 = 9,
  uncompressedRsrcV2 = 10,
  lzfseAttr = 11,
  lzfseRsrc = 12,
  lzbitmapAttr = 13,
  lzbitmapRsrc = 14,
};

inline constexpr std::array<CompressionType, 13> allCompressionTypes{
    CompressionType::uncompressedAttr, CompressionType::zlibAttr,           CompressionType::zlibRsrc,
    CompressionType::datalessSparse,   CompressionType::uncompressedRsrc,   CompressionType::lzvnAttr,
    CompressionType::lzvnRsrc,         CompressionType::uncompressedAttrV2, CompressionType::uncompressedRsrcV2,
    CompressionType::lzfseAttr,        CompressionType::lzfseRsrc,          CompressionType::lzbitmapAttr,
    CompressionType::lzbitmapRsrc,
};

// The case of a raw value, nothing for a number without one (0, 2, 15 and up).
[[nodiscard]] std::optional<CompressionType> compressionTypeFromRawValue(std::uint32_t rawValue);

// The case's name, as "lzfseRsrc".
[[nodiscard]] std::string_view name(CompressionType type);

}  // namespace quillbrook
