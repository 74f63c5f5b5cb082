// SPDX-License-Identifier: MIT
#include "Coders.h"

#include <libdeflate.h>
#include <zlib.h>
#include <zstd.h>

#include <memory>
#include <new>

#include "Codec/Compression.h"
#include "Corpus.h"
#include "fmt/core.h"

namespace quillbrook::Coders {
namespace {

using Room = std::span<std::uint8_t>;
using Bytes = std::span<const std::uint8_t>;

constexpr int judgedRounds = 5;
constexpr int slowRounds = 1;

template <typename T>
std::shared_ptr<T> owned(T* made, auto release) {
  if (made == nullptr) throw std::bad_alloc();
  return {made, release};
}

// Contexts that take their memory with the first block only would be charged for it.
void warmUp(const Coder& coder) {
  const std::vector<std::uint8_t> block(Corpus::blockBytes);
  std::vector<std::uint8_t> stream(block.size());
  std::vector<std::uint8_t> restored(block.size());
  coder.decode(restored, Bytes(stream).first(coder.encode(stream, block)));
}

Coder quillbrook() {
  return {.name = std::string(ours),
          .encodeRounds = judgedRounds,
          .encode = [](Room to, Bytes from) { return compression_encode_buffer(to, from, {}, COMPRESSION_LZFSE); },
          .decode = [](Room to, Bytes from) { return compression_decode_buffer(to, from, {}, COMPRESSION_LZFSE); }};
}

void aim(z_stream& stream, Room to, Bytes from) {
  // zlib reads only, but says so only where a macro asks it to.
  stream.next_in = const_cast<Bytef*>(from.data());  // NOLINT(cppcoreguidelines-pro-type-const-cast)
  stream.avail_in = static_cast<uInt>(from.size());
  stream.next_out = to.data();
  stream.avail_out = static_cast<uInt>(to.size());
}

// Stays where it is: zlib's own state points back at it.
std::shared_ptr<z_stream> zlibStream(int (*end)(z_stream*)) {
  return {new z_stream{}, [end](z_stream* stream) {
            end(stream);
            delete stream;
          }};
}

Coder zlib(int level, int encodeRounds) {
  const auto packing = zlibStream(deflateEnd);
  const auto unpacking = zlibStream(inflateEnd);
  if (deflateInit(packing.get(), level) != Z_OK || inflateInit(unpacking.get()) != Z_OK) throw std::bad_alloc();
  return {.name = fmt::format("zlib {}", level),
          .encodeRounds = encodeRounds,
          .encode = [packing](Room to, Bytes from) -> std::size_t {
            deflateReset(packing.get());
            aim(*packing, to, from);
            return deflate(packing.get(), Z_FINISH) == Z_STREAM_END ? packing->total_out : 0;
          },
          .decode = [unpacking](Room to, Bytes from) -> std::size_t {
            inflateReset(unpacking.get());
            aim(*unpacking, to, from);
            return inflate(unpacking.get(), Z_FINISH) == Z_STREAM_END ? unpacking->total_out : 0;
          }};
}

Coder libdeflate(int level, int encodeRounds) {
  const auto packing = owned(libdeflate_alloc_compressor(level), libdeflate_free_compressor);
  const auto unpacking = owned(libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
  return {.name = fmt::format("libdeflate {}", level),
          .encodeRounds = encodeRounds,
          .encode =
              [packing](Room to, Bytes from) {
                return libdeflate_zlib_compress(packing.get(), from.data(), from.size(), to.data(), to.size());
              },
          .decode = [unpacking](Room to, Bytes from) -> std::size_t {
            std::size_t written = 0;
            const libdeflate_result result =
                libdeflate_zlib_decompress(unpacking.get(), from.data(), from.size(), to.data(), to.size(), &written);
            return result == LIBDEFLATE_SUCCESS ? written : 0;
          }};
}

Coder zstd(int level, int encodeRounds) {
  const auto packing = owned(ZSTD_createCCtx(), ZSTD_freeCCtx);
  const auto unpacking = owned(ZSTD_createDCtx(), ZSTD_freeDCtx);
  const auto writtenOr0 = [](std::size_t result) { return ZSTD_isError(result) != 0 ? 0 : result; };
  return {
      .name = fmt::format("zstd {}", level),
      .encodeRounds = encodeRounds,
      .encode =
          [packing, level, writtenOr0](Room to, Bytes from) {
            return writtenOr0(ZSTD_compressCCtx(packing.get(), to.data(), to.size(), from.data(), from.size(), level));
          },
      .decode =
          [unpacking, writtenOr0](Room to, Bytes from) {
            return writtenOr0(ZSTD_decompressDCtx(unpacking.get(), to.data(), to.size(), from.data(), from.size()));
          }};
}

}  // namespace

std::vector<Coder> make() {
  std::vector<Coder> all;
  all.push_back(quillbrook());
  all.push_back(zlib(6, judgedRounds));
  all.push_back(zlib(9, slowRounds));
  all.push_back(libdeflate(6, judgedRounds));
  all.push_back(libdeflate(12, slowRounds));
  all.push_back(zstd(3, judgedRounds));
  all.push_back(zstd(9, slowRounds));
  all.push_back(zstd(19, slowRounds));
  for (const Coder& coder : all) warmUp(coder);
  return all;
}

std::string peerVersions() {
  return fmt::format("zlib {}, libdeflate {}, zstd {}", zlibVersion(), LIBDEFLATE_VERSION_STRING, ZSTD_versionString());
}

}  // namespace quillbrook::Coders
