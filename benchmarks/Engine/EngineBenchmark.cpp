// SPDX-License-Identifier: MIT
//
// What the engine costs beside its parts, on the same files.
//
//   EngineBenchmark VOLUME PLAIN ROUNDS     two copies of one folder: in a mounted volume, and on the host file system
//
// Large files (1 MiB and more), one thread: encode, decode and SHA-256 alone, then whole compress and decompress; the
// goal is the time of one encode, one decode and two hashes. Small files, as many workers as processors: whole compress
// and decompress beside a bare loop of write, sync and rename-over; interleaved rounds, the median counts.

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "../Stopwatch.h"
#include "Codec/Compression.h"
#include "Compression/FileCompressor.h"
#include "Compression/Sha256.h"
#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t blockSize = 65'536;
constexpr std::uintmax_t largeFrom = 1 << 20;
constexpr std::uintmax_t smallest = 4096;
constexpr std::uintmax_t smallUpTo = 65'536;
constexpr std::size_t mostSmallFiles = 2000;

[[noreturn]] void fail(const std::string& what) {
  std::perror(what.c_str());
  std::exit(1);
}

Bytes contentsOf(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

struct Files {
  std::vector<fs::path> large;  // relative
  std::vector<fs::path> small;
};

Files collect(const fs::path& root) {
  Files files;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    if (!entry.is_regular_file() || entry.is_symlink() || entry.hard_link_count() > 1) continue;
    const std::uintmax_t size = entry.file_size();
    if (size >= largeFrom && size <= 0x7FFFFFFF) files.large.push_back(fs::relative(entry.path(), root));
    if (size >= smallest && size < smallUpTo && files.small.size() < mostSmallFiles) {
      files.small.push_back(fs::relative(entry.path(), root));
    }
  }
  return files;
}

double timed(const std::function<void()>& work) {
  const Stopwatch watch;
  work();
  return watch.seconds();
}

// Every path goes to one of `workers` threads; the time until the last is done.
double timedOverAll(const std::vector<fs::path>& paths, unsigned workers,
                    const std::function<void(const fs::path&)>& act) {
  return timed([&] {
    std::atomic<std::size_t> next = 0;
    std::vector<std::jthread> threads;
    threads.reserve(workers);
    for (unsigned i = 0; i < workers; ++i) {
      threads.emplace_back([&] {
        for (std::size_t at = next++; at < paths.size(); at = next++) act(paths[at]);
      });
    }
  });
}

void compress(const fs::path& path) {
  const auto done = FileCompressor::compress(FilePath(path.string()));
  if (!done && !describe(done.error()).starts_with("compressionDidNotReduceSize"))
    fail(path.string() + ": " + describe(done.error()));
}

void decompress(const fs::path& path) {
  const auto done = FileCompressor::decompress(FilePath(path.string()));
  if (!done && !describe(done.error()).starts_with("notCompressed"))
    fail(path.string() + ": " + describe(done.error()));
}

void largeFiles(const std::vector<fs::path>& files, const fs::path& volume, const fs::path& plain) {
  if (files.empty()) {
    std::printf("large files: none\n");
    return;
  }
  double bytes = 0;
  double stored = 0;
  double encoding = 0;
  double decoding = 0;
  double hashing = 0;
  for (const fs::path& file : files) {
    const Bytes content = contentsOf(plain / file);
    bytes += static_cast<double>(content.size());
    Bytes fork(content.size() + (content.size() / blockSize + 1) * 64);
    Bytes decoded(blockSize);
    std::vector<std::span<const std::uint8_t>> chunks;
    encoding += timed([&] {
      std::size_t used = 0;
      for (std::size_t at = 0; at < content.size(); at += blockSize) {
        const std::size_t length = std::min(blockSize, content.size() - at);
        const std::size_t count = compression_encode_buffer(
            std::span(fork).subspan(used, length + 64), std::span(content).subspan(at, length), {}, COMPRESSION_LZFSE);
        if (count == 0) fail("encode");
        chunks.emplace_back(std::span(fork).subspan(used, count));
        used += count;
      }
      stored += static_cast<double>(used);
    });
    decoding += timed([&] {
      for (const auto chunk : chunks) {
        if (compression_decode_buffer(decoded, chunk, {}, COMPRESSION_LZFSE) == 0) fail("decode");
      }
    });
    hashing += timed([&] { (void)Sha256::hash(content); });
  }
  const double megabytes = bytes / 1e6;
  std::printf("large files: %zu, %.0f MB, codec's output %.1f%%\n", files.size(), megabytes, 100 * stored / bytes);
  std::printf("  encode alone     %8.1f MB/s\n  decode alone     %8.1f MB/s\n  SHA-256 alone    %8.1f MB/s\n",
              megabytes / encoding, megabytes / decoding, megabytes / hashing);
  std::vector<fs::path> paths;
  paths.reserve(files.size());
  for (const fs::path& file : files) paths.push_back(volume / file);
  const double compressing = timedOverAll(paths, 1, compress);
  const double decompressing = timedOverAll(paths, 1, decompress);
  const double parts = encoding + decoding + 2 * hashing;
  std::printf("  whole compress   %8.1f MB/s, %.0f%% of encode + decode + 2 hashes (%.1f MB/s)\n",
              megabytes / compressing, 100 * parts / compressing, megabytes / parts);
  std::printf("  whole decompress %8.1f MB/s\n", megabytes / decompressing);
}

// The least that a safe replacement can do: the same bytes to a new file, on the disk, renamed over the old one.
void rewrite(const fs::path& path) {
  const Bytes content = contentsOf(path);
  const std::string work = path.string() + ".bare";
  const FileDescriptor file(::open(work.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!file.isOpen()) fail(work);
  if (::write(file.get(), content.data(), content.size()) != static_cast<ssize_t>(content.size())) fail(work);
  if (::fdatasync(file.get()) != 0) fail(work);
  if (::rename(work.c_str(), path.c_str()) != 0) fail(work);
}

void smallFiles(const std::vector<fs::path>& files, const fs::path& volume, const fs::path& plain, int rounds) {
  const unsigned workers = std::max(1U, std::min(8U, std::thread::hardware_concurrency()));
  std::vector<fs::path> inVolume;
  std::vector<fs::path> bare;
  for (const fs::path& file : files) {
    inVolume.push_back(volume / file);
    bare.push_back(plain / file);
  }
  std::vector<double> rewriting;
  std::vector<double> compressing;
  std::vector<double> decompressing;
  const auto count = static_cast<double>(files.size());
  for (int round = 0; round < rounds; ++round) {
    rewriting.push_back(count / timedOverAll(bare, workers, rewrite));
    compressing.push_back(count / timedOverAll(inVolume, workers, compress));
    decompressing.push_back(count / timedOverAll(inVolume, workers, decompress));
  }
  std::printf("small files: %zu, %u workers, median of %d rounds\n", files.size(), workers, rounds);
  std::printf("  write, sync, rename-over  %8.0f files/s\n", median(rewriting));
  std::printf("  whole compress            %8.0f files/s (%.0f%%)\n", median(compressing),
              100 * median(compressing) / median(rewriting));
  std::printf("  whole decompress          %8.0f files/s (%.0f%%)\n", median(decompressing),
              100 * median(decompressing) / median(rewriting));
}

}  // namespace
}  // namespace quillbrook

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fputs("usage: EngineBenchmark VOLUME PLAIN ROUNDS\n", stderr);
    return 2;
  }
  const auto files = quillbrook::collect(argv[2]);
  quillbrook::largeFiles(files.large, argv[1], argv[2]);
  quillbrook::smallFiles(files.small, argv[1], argv[2], std::stoi(argv[3]));
  return 0;
}
