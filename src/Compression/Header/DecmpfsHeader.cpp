// SPDX-License-Identifier: MIT
#include "Compression/Header/DecmpfsHeader.h"

#include "Platform/LittleEndian.h"

namespace quillbrook {

std::string_view caseName(const DecmpfsHeaderError& error) {
  struct {
    std::string_view operator()(const InsufficientHeaderBytes&) const { return "insufficientBytes"; }
    std::string_view operator()(const InvalidMagic&) const { return "invalidMagic"; }
    std::string_view operator()(const UnknownCompressionType&) const { return "unknownCompressionType"; }
  } const name;
  return std::visit(name, error);
}

std::string describe(const DecmpfsHeaderError& error) {
  struct {
    std::string operator()(const InsufficientHeaderBytes& e) const {
      return "(needed: " + std::to_string(e.needed) + ", got: " + std::to_string(e.got) + ")";
    }
    std::string operator()(const InvalidMagic& e) const { return "(" + std::to_string(e.found) + ")"; }
    std::string operator()(const UnknownCompressionType& e) const { return "(" + std::to_string(e.rawValue) + ")"; }
  } const payload;
  return std::string(caseName(error)) + std::visit(payload, error);
}

std::expected<DecmpfsHeader, DecmpfsHeaderError> DecmpfsHeader::parse(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < byteCount) {
    return std::unexpected(
        InsufficientHeaderBytes{.needed = byteCount, .got = static_cast<std::int64_t>(bytes.size())});
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
