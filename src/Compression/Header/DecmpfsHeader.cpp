// SPDX-License-Identifier: MIT
#include "Compression/Header/DecmpfsHeader.h"

#include "Compression/Header/LittleEndian.h"

namespace quillbrook {

std::string describe(const DecmpfsHeaderError& error) {
  struct {
    std::string operator()(const InsufficientHeaderBytes& e) const {
      return "insufficientBytes(needed: " + std::to_string(e.needed) + ", got: " + std::to_string(e.got) + ")";
    }
    std::string operator()(const InvalidMagic& e) const { return "invalidMagic(" + std::to_string(e.found) + ")"; }
    std::string operator()(const UnknownCompressionType& e) const {
      return "unknownCompressionType(" + std::to_string(e.rawValue) + ")";
    }
  } const text;
  return std::visit(text, error);
}

std::expected<DecmpfsHeader, DecmpfsHeaderError> DecmpfsHeader::parse(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < byteCount) {
    return std::unexpected(InsufficientHeaderBytes{.needed = byteCount, .got = static_cast<std::int64_t>(bytes.size())});
  }
  const auto foundMagic = LittleEndian::load<std::uint32_t>(bytes.data());
  if (foundMagic != magic) return std::unexpected(InvalidMagic{foundMagic});
  const auto rawType = LittleEndian::load<std::uint32_t>(bytes.data() + 4);
  const auto type = compressionTypeFromRawValue(rawType);
  if (!type) return std::unexpected(UnknownCompressionType{rawType});
  return DecmpfsHeader{.compressionType = *type,
                       .uncompressedSize = LittleEndian::load<std::uint64_t>(bytes.data() + 8)};
}

std::array<std::uint8_t, DecmpfsHeader::byteCount> DecmpfsHeader::encode(CompressionType type,
                                                                         std::uint64_t uncompressedSize) {
  std::array<std::uint8_t, byteCount> bytes;
  LittleEndian::store(bytes.data(), magic);
  LittleEndian::store(bytes.data() + 4, static_cast<std::uint32_t>(type));
  LittleEndian::store(bytes.data() + 8, uncompressedSize);
  return bytes;
}

}  // namespace quillbrook
