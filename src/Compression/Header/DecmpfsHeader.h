// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "Compression/Header/CompressionType.h"

namespace quillbrook {

// Why bytes are not a decmpfs header. Tested in this order.
struct InsufficientHeaderBytes {
  std::int64_t needed = 0;
  std::int64_t got = 0;
  friend bool operator==(const InsufficientHeaderBytes&, const InsufficientHeaderBytes&) = default;
};
struct InvalidMagic {
  std::uint32_t found = 0;
  friend bool operator==(const InvalidMagic&, const InvalidMagic&) = default;
};
struct UnknownCompressionType {
  std::uint32_t rawValue = 0;
  friend bool operator==(const UnknownCompressionType&, const UnknownCompressionType&) = default;
};
using DecmpfsHeaderError = std::variant<InsufficientHeaderBytes, InvalidMagic, UnknownCompressionType>;

// The case's name, as "insufficientBytes".
[[nodiscard]] std::string_view caseName(const DecmpfsHeaderError& error);
// The case with its payload, as "insufficientBytes(needed: 16, got: 0)".
[[nodiscard]] std::string describe(const DecmpfsHeaderError& error);

// The head of the attribute com.apple.decmpfs: magic, type and logical size, 16 bytes, little-endian on every host.
struct DecmpfsHeader {
  static constexpr std::size_t byteCount = 16;
  static constexpr std::uint32_t magic = 0x636D7066;
  // The type field of a cloud placeholder whose content is not on this machine. It has no case.
  static constexpr std::uint32_t datalessRawValue = 0x80000001;

  CompressionType compressionType = CompressionType::lzfseRsrc;
  std::uint64_t uncompressedSize = 0;

  // Reads the first 16 bytes; what follows is not looked at, and the size is taken as it stands.
  [[nodiscard]] static std::expected<DecmpfsHeader, DecmpfsHeaderError> parse(std::span<const std::uint8_t> bytes);
  [[nodiscard]] static std::array<std::uint8_t, byteCount> encode(CompressionType type, std::uint64_t uncompressedSize);

  friend bool operator==(const DecmpfsHeader&, const DecmpfsHeader&) = default;
};

}  // namespace quillbrook
