// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <span>
#include <variant>

#include "Compression/ByteBuffer.h"
#include "Compression/DecmpfsInlineError.h"
#include "Compression/Header/DecmpfsHeader.h"
#include "Compression/LZFSEError.h"

// Values of the attribute com.apple.decmpfs that hold a whole small file behind their header. Bytes only, no file is
// touched; stateless, any thread.
namespace quillbrook::DecmpfsInline {

// The longest value, header included, that the format allows (0xEDA).
inline constexpr std::size_t maximumValueByteCount = 3'802;

using EncodeError = std::variant<DecmpfsInlineError, LZFSEError>;
using DecodeError = std::variant<DecmpfsHeaderError, DecmpfsInlineError, LZFSEError>;

// A value of type `lzfseAttr`.
[[nodiscard]] std::expected<ByteBuffer, EncodeError> encodeLZFSE(std::span<const std::uint8_t> bytes);

// The same from the stream of a file of `fileByteCount` bytes.
[[nodiscard]] std::expected<ByteBuffer, DecmpfsInlineError> valueOfStream(std::span<const std::uint8_t> stream,
                                                                          std::size_t fileByteCount);

// A value of type `uncompressedAttrV2`: the bytes as they stand behind a marker byte. The format's counterpart to the
// decoder; it is no fallback for data that do not shrink.
[[nodiscard]] std::expected<ByteBuffer, DecmpfsInlineError> encodeUncompressedV2(std::span<const std::uint8_t> bytes);

// The file's bytes from a value of type 1, 9 or 11. Bytes behind what the header's size promises are ignored.
// A size that no file has is not tried: of type 11 it answers `decodeFailed` with 0 bytes got. Sizes from 2^63 on stand
// as 2^63 - 1 in an error.
[[nodiscard]] std::expected<ByteBuffer, DecodeError> decode(std::span<const std::uint8_t> value);

}  // namespace quillbrook::DecmpfsInline
