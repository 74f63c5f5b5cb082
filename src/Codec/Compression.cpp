// SPDX-License-Identifier: MIT
#include "Codec/Compression.h"

#include <memory>
#include <new>
#include <type_traits>

#include "Codec/DecodeTarget.h"
#include "Codec/StreamDecoder.h"
#include "Codec/StreamEncoder.h"

namespace quillbrook {

namespace {

using Workspace = Codec::StreamEncoder::Workspace;
// Neither constructor nor destructor does anything: beginning one costs nothing, and one in scratch memory needs no
// end.
static_assert(std::is_trivially_default_constructible_v<Workspace> && std::is_trivially_destructible_v<Workspace>);

}  // namespace

std::size_t compression_encode_scratch_buffer_size(compression_algorithm algorithm) noexcept {
  return algorithm == COMPRESSION_LZFSE ? sizeof(Workspace) + alignof(Workspace) - 1 : 0;
}

std::size_t compression_encode_buffer(std::span<std::uint8_t> destination, std::span<const std::uint8_t> source,
                                      std::span<std::uint8_t> scratch, compression_algorithm algorithm) noexcept {
  if (algorithm != COMPRESSION_LZFSE) return 0;
  void* place = scratch.data();
  std::size_t space = scratch.size();
  if (place != nullptr && std::align(alignof(Workspace), sizeof(Workspace), place, space) != nullptr) {
    return Codec::StreamEncoder::encode(destination, source, *new (place) Workspace);
  }
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
