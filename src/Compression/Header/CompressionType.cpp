// SPDX-License-Identifier: MIT
#include "Compression/Header/CompressionType.h"

#include <algorithm>

namespace quillbrook {

std::optional<CompressionType> compressionTypeFromRawValue(std::uint32_t rawValue) {
  const auto type = static_cast<CompressionType>(rawValue);
  if (std::ranges::find(allCompressionTypes, type) == allCompressionTypes.end()) return std::nullopt;
  return type;
}

std::string_view name(CompressionType type) {
  switch (type) {
    case CompressionType::uncompressedAttr: return "uncompressedAttr";
    case CompressionType::zlibAttr: return "zlibAttr";
    case CompressionType::zlibRsrc: return "zlibRsrc";
    case CompressionType::datalessSparse: return "datalessSparse";
    case CompressionType::uncompressedRsrc: return "uncompressedRsrc";
    case CompressionType::lzvnAttr: return "lzvnAttr";
    case CompressionType::lzvnRsrc: return "lzvnRsrc";
    case CompressionType::uncompressedAttrV2: return "uncompressedAttrV2";
    case CompressionType::uncompressedRsrcV2: return "uncompressedRsrcV2";
    case CompressionType::lzfseAttr: return "lzfseAttr";
    case CompressionType::lzfseRsrc: return "lzfseRsrc";
    case CompressionType::lzbitmapAttr: return "lzbitmapAttr";
    case CompressionType::lzbitmapRsrc: return "lzbitmapRsrc";
  }
  return "unknown";
}

}  // namespace quillbrook
