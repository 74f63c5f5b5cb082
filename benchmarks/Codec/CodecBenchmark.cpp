// SPDX-License-Identifier: MIT
//
// CodecBenchmark FOLDER [MEGABYTES]: compresses and restores the regular files below a folder, in blocks of 64 KiB,
// with this codec and its peers, all in one run on the same blocks. Prints sizes, rates and ratios to zlib.
#include <libdeflate.h>
#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "Codec/Compression.h"
#include "fmt/core.h"

namespace {

using Bytes = std::span<const std::uint8_t>;
using Room = std::span<std::uint8_t>;

constexpr std::size_t blockBytes = 65'536;
constexpr std::size_t megabyte = 1'000'000;
constexpr int zlibLevel = 6;
constexpr int libdeflateLevel = 6;
constexpr int zstdLevel = 3;

// Both return the number of bytes written.
struct Codec {
  std::string name;
  std::function<std::size_t(Room, Bytes)> encode;
  std::function<std::size_t(Room, Bytes)> decode;
};

struct Measured {
  std::size_t bytes = 0;
  double encodeSeconds = 0;
  double decodeSeconds = 0;
};

[[noreturn]] void fail(const std::string& reason) {
  fmt::print(stderr, "CodecBenchmark: {}\n", reason);
  std::exit(EXIT_FAILURE);
}

// Files in the order of their names, so that every run sees the same bytes.
std::vector<std::uint8_t> readFolder(const std::filesystem::path& folder, std::size_t limit) {
  namespace fs = std::filesystem;
  std::vector<fs::path> paths;
  constexpr auto options = fs::directory_options::skip_permission_denied;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder, options)) {
    if (entry.is_regular_file() && !entry.is_symlink()) paths.push_back(entry.path());
  }
  std::ranges::sort(paths);
  std::vector<std::uint8_t> content;
  for (const fs::path& path : paths) {
    if (content.size() >= limit) break;
    std::ifstream file(path, std::ios::binary);
    content.insert(content.end(), std::istreambuf_iterator<char>(file), {});
  }
  content.resize(std::min(content.size(), limit));
  return content;
}

std::vector<Codec> codecs() {
  std::vector<Codec> all;
  all.push_back({"quillbrook",
                 [](Room to, Bytes from) {
                   return quillbrook::compression_encode_buffer(to, from, {}, quillbrook::COMPRESSION_LZFSE);
                 },
                 [](Room to, Bytes from) {
                   return quillbrook::compression_decode_buffer(to, from, {}, quillbrook::COMPRESSION_LZFSE);
                 }});
  all.push_back({fmt::format("zlib {}", zlibLevel),
                 [](Room to, Bytes from) {
                   uLongf size = to.size();
                   return compress2(to.data(), &size, from.data(), from.size(), zlibLevel) == Z_OK ? size : 0;
                 },
                 [](Room to, Bytes from) {
                   uLongf size = to.size();
                   return uncompress(to.data(), &size, from.data(), from.size()) == Z_OK ? size : 0;
                 }});
  const std::shared_ptr<libdeflate_compressor> compressor(libdeflate_alloc_compressor(libdeflateLevel),
                                                          libdeflate_free_compressor);
  const std::shared_ptr<libdeflate_decompressor> decompressor(libdeflate_alloc_decompressor(),
                                                              libdeflate_free_decompressor);
  all.push_back({fmt::format("libdeflate {}", libdeflateLevel),
                 [compressor](Room to, Bytes from) {
                   return libdeflate_zlib_compress(compressor.get(), from.data(), from.size(), to.data(), to.size());
                 },
                 [decompressor](Room to, Bytes from) {
                   std::size_t size = 0;
                   libdeflate_zlib_decompress(decompressor.get(), from.data(), from.size(), to.data(), to.size(),
                                              &size);
                   return size;
                 }});
  const std::shared_ptr<ZSTD_CCtx> packing(ZSTD_createCCtx(), ZSTD_freeCCtx);
  const std::shared_ptr<ZSTD_DCtx> unpacking(ZSTD_createDCtx(), ZSTD_freeDCtx);
  all.push_back({fmt::format("zstd {}", zstdLevel),
                 [packing](Room to, Bytes from) {
                   return ZSTD_compressCCtx(packing.get(), to.data(), to.size(), from.data(), from.size(), zstdLevel);
                 },
                 [unpacking](Room to, Bytes from) {
                   return ZSTD_decompressDCtx(unpacking.get(), to.data(), to.size(), from.data(), from.size());
                 }});
  return all;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// One batch of blocks through one codec, there and back, compared in the end. Batches of all codecs alternate, so that
// a change in the machine's speed touches each alike.
void measure(const Codec& codec, Bytes batch, Measured& measured) {
  const std::size_t blocks = (batch.size() + blockBytes - 1) / blockBytes;
  constexpr std::size_t slot = blockBytes + blockBytes / 8;
  std::vector<std::uint8_t> packed(blocks * slot);
  std::vector<std::size_t> sizes(blocks);
  std::vector<std::uint8_t> restored(batch.size());
  const auto blockOf = [&](std::size_t i) {
    return batch.subspan(i * blockBytes, std::min(blockBytes, batch.size() - i * blockBytes));
  };

  auto start = std::chrono::steady_clock::now();
  for (std::size_t i = 0; i < blocks; ++i) {
    sizes[i] = codec.encode(Room(packed).subspan(i * slot, slot), blockOf(i));
  }
  measured.encodeSeconds += secondsSince(start);

  start = std::chrono::steady_clock::now();
  for (std::size_t i = 0; i < blocks; ++i) {
    codec.decode(Room(restored).subspan(i * blockBytes, blockOf(i).size()), Bytes(packed).subspan(i * slot, sizes[i]));
  }
  measured.decodeSeconds += secondsSince(start);
  if (!std::ranges::equal(restored, batch)) fail(codec.name + " did not give the bytes back");
  for (const std::size_t size : sizes) measured.bytes += size;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) fail("usage: CodecBenchmark FOLDER [MEGABYTES]");
  const std::size_t limit = (argc == 3 ? std::strtoull(argv[2], nullptr, 10) : 200) * megabyte;
  const std::vector<std::uint8_t> content = readFolder(argv[1], limit);
  if (content.empty()) fail("no files below the folder");

  const std::vector<Codec> all = codecs();
  std::vector<Measured> measured(all.size());
  constexpr std::size_t batchBytes = 64 * blockBytes;
  for (std::size_t at = 0; at < content.size(); at += batchBytes) {
    const Bytes batch = Bytes(content).subspan(at, std::min(batchBytes, content.size() - at));
    for (std::size_t i = 0; i < all.size(); ++i) measure(all[i], batch, measured[i]);
  }

  const Measured& zlib = measured[1];
  const double megabytes = static_cast<double>(content.size()) / megabyte;
  fmt::print("{}: {:.1f} MB in blocks of 64 KiB\n", argv[1], megabytes);
  fmt::print("{:<14}{:>12}{:>8}{:>9}{:>13}{:>9}{:>13}{:>9}\n", "codec", "bytes", "share", "/ zlib", "encode MB/s",
             "/ zlib", "decode MB/s", "/ zlib");
  for (std::size_t i = 0; i < all.size(); ++i) {
    const Measured& m = measured[i];
    fmt::print("{:<14}{:>12}{:>7.1f}%{:>9.4f}{:>13.1f}{:>9.2f}{:>13.1f}{:>9.2f}\n", all[i].name, m.bytes,
               100.0 * static_cast<double>(m.bytes) / static_cast<double>(content.size()),
               static_cast<double>(m.bytes) / static_cast<double>(zlib.bytes), megabytes / m.encodeSeconds,
               zlib.encodeSeconds / m.encodeSeconds, megabytes / m.decodeSeconds, zlib.decodeSeconds / m.decodeSeconds);
  }
  return EXIT_SUCCESS;
}
