// SPDX-License-Identifier: MIT
#include "Codec/Compression.h"

#include <memory>
#include <new>
#include <type_traits>

#include "Codec/DecodeTarget.h"
#include "Codec/StreamDecoder.h"
#include "Codec/StreamEncoder.h"

namespace quillbrook {

std::size_t compression_encode_buffer(std::span<std::uint8_t> destination, std::span<const std::uint8_t> source,
                                      std::span<std::uint8_t> /*scratch*/, compression_algorithm algorithm) noexcept {
  if (algorithm != COMPRESSION_LZFSE) return 0;
  using Workspace = Codec::StreamEncoder::Workspace;
  static_assert(std::is_trivially_default_constructible_v<Workspace>, "beginning one must cost nothing");
  const std::unique_ptr<Workspace> workspace(new (std::nothrow) Workspace);
  return workspace ? Codec::StreamEncoder::encode(destination, source, *workspace) : 0;
}

std::size_t compression_decode_buffer(std::span<std::uint8_t> destination, std::span<const std::uint8_t> source,
                                      std::span<std::uint8_t> /*scratch*/, compression_algorithm algorithm) noexcept {
  if (algorithm != COMPRESSION_LZFSE) return 0;
  std::uint8_t* const begin = destination.data();
  Codec::DecodeTarget target{begin, begin, begin + destination.size()};
  const Codec::DecodeOutcome outcome = Codec::StreamDecoder::decode(source, target);
  // A full destination ends with its capacity, whatever the stream behind is like.
  if (outcome == Codec::DecodeOutcome::malformed && target.room() != 0) return 0;
  return target.written();
}

}  // namespace quillbrook
