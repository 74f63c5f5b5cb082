// SPDX-License-Identifier: MIT
//
// Folders side by side: the first is the yardstick, the others also show their share of it. Of three or more, the last
// is judged by its share of the second.
//
//   VolumeBenchmark ordinary ROUNDS MEGABYTES FILES NAME=FOLDER...
//   VolumeBenchmark compressed ROUNDS NAME=FILE...    the same content as an ordinary file, through a mount, ...
//
// Rounds are interleaved and the median counts. Needs root, since it drops the kernel's caches.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "../Stopwatch.h"
#include "Codec/Compression.h"
#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {
namespace {

constexpr std::size_t mebibyte = 1 << 20;
constexpr std::size_t page = 4096;
constexpr const char* coldRead = "read cold, MiB/s";
constexpr const char* coldRandomRead = "random read 4 KiB cold, /s";

[[noreturn]] void fail(const std::string& what) {
  std::perror(what.c_str());
  std::exit(1);
}

FileDescriptor openFile(const std::string& path, int flags) {
  FileDescriptor file(::open(path.c_str(), flags | O_CLOEXEC, 0644));
  if (!file.isOpen()) fail(path);
  return file;
}

// Twice, since a daemon may keep the host's inodes until the kernel has forgotten its own.
void dropCaches() {
  ::sync();
  for (int round = 0; round < 2; ++round) {
    const FileDescriptor control = openFile("/proc/sys/vm/drop_caches", O_WRONLY);
    if (::write(control.get(), "3", 1) != 1) fail("drop_caches");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
}

struct Target {
  std::string name;
  std::string path;
};

// Results by test in the order of their first appearance, then by target.
class Table {
 public:
  explicit Table(std::vector<Target> targets) : targets_(std::move(targets)) {}
  void add(const std::string& test, const std::string& target, double value) {
    if (!values_.contains(test)) order_.push_back(test);
    values_[test][target].push_back(value);
  }
  void print() const {
    std::printf("%-28s", "median");
    for (const Target& target : targets_) std::printf(" %20s", target.name.c_str());
    const bool isJudged = targets_.size() > 2;
    if (isJudged) std::printf("  %s / %s", targets_.back().name.c_str(), targets_[1].name.c_str());
    std::printf("\n");
    for (const std::string& test : order_) {
      std::printf("%-28s", test.c_str());
      const double yardstick = of(test, targets_.front().name);
      for (const Target& target : targets_) {
        const double value = of(test, target.name);
        if (&target == &targets_.front())
          std::printf(" %20.0f", value);
        else
          std::printf(" %13.0f (%3.0f%%)", value, 100 * value / yardstick);
      }
      if (isJudged) std::printf("  %.2f", of(test, targets_.back().name) / of(test, targets_[1].name));
      std::printf("\n");
    }
  }
  // The median.
  [[nodiscard]] double of(const std::string& test, const std::string& target) const {
    return median(values_.at(test).at(target));
  }

 private:
  std::vector<Target> targets_;
  std::vector<std::string> order_;
  std::map<std::string, std::map<std::string, std::vector<double>>> values_;
};

double rate(double amount, const std::function<void()>& work) {
  const Stopwatch watch;
  work();
  return amount / watch.seconds();
}

void readAll(const std::string& path, std::size_t chunk) {
  std::vector<char> buffer(chunk);
  const FileDescriptor file = openFile(path, O_RDONLY);
  ssize_t count = 0;
  while ((count = ::read(file.get(), buffer.data(), buffer.size())) > 0) {
  }
  if (count < 0) fail(path);
}

double randomReads(const std::string& path, int reads) {
  const FileDescriptor file = openFile(path, O_RDONLY);
  struct stat status{};
  if (::fstat(file.get(), &status) != 0) fail(path);
  std::mt19937_64 random(1);
  std::vector<char> buffer(page);
  const auto pages = static_cast<std::uint64_t>(status.st_size) / page;
  return rate(reads, [&] {
    for (int i = 0; i < reads; ++i) {
      if (::pread(file.get(), buffer.data(), page, static_cast<off_t>(random() % pages * page)) < 0) fail(path);
    }
  });
}

void large(Table& table, const Target& target, std::size_t megabytes) {
  const std::string path = target.path + "/benchmark.large";
  std::vector<char> data(mebibyte);
  std::mt19937_64 random(2);
  for (char& byte : data) byte = static_cast<char>(random());
  const auto size = static_cast<double>(megabytes);
  dropCaches();
  table.add("write 1 MiB, MiB/s", target.name, rate(size, [&] {
              const FileDescriptor file = openFile(path, O_WRONLY | O_CREAT | O_TRUNC);
              for (std::size_t i = 0; i < megabytes; ++i) {
                if (::write(file.get(), data.data(), data.size()) != static_cast<ssize_t>(data.size())) fail(path);
              }
              if (::fsync(file.get()) != 0) fail(path);
            }));
  dropCaches();
  table.add(coldRead, target.name, rate(size, [&] { readAll(path, mebibyte); }));
  table.add("read warm, MiB/s", target.name, rate(size, [&] { readAll(path, mebibyte); }));
  table.add("random read 4 KiB warm, /s", target.name, randomReads(path, 20'000));
  dropCaches();
  table.add(coldRandomRead, target.name, randomReads(path, 2'000));
  table.add("random write 4 KiB, /s", target.name, rate(10'000, [&] {
              const FileDescriptor file = openFile(path, O_WRONLY);
              for (int i = 0; i < 10'000; ++i) {
                const auto at = static_cast<off_t>(random() % (megabytes * mebibyte / page) * page);
                if (::pwrite(file.get(), data.data(), page, at) != static_cast<ssize_t>(page)) fail(path);
              }
            }));
  table.add("write 4 KiB in order, /s", target.name, rate(20'000, [&] {
              const FileDescriptor file = openFile(path, O_WRONLY);
              for (int i = 0; i < 20'000; ++i) {
                if (::write(file.get(), data.data(), page) != static_cast<ssize_t>(page)) fail(path);
              }
            }));
  ::unlink(path.c_str());
}

void small(Table& table, const Target& target, int files) {
  const std::string root = target.path + "/benchmark.small";
  if (::mkdir(root.c_str(), 0755) != 0) fail(root);
  std::vector<std::string> folders;
  std::vector<std::string> paths;
  for (int i = 0; i < files; ++i) {
    if (i % 100 == 0) {
      folders.push_back(root + "/" + std::to_string(i / 100));
      if (::mkdir(folders.back().c_str(), 0755) != 0) fail(folders.back());
    }
    paths.push_back(folders.back() + "/" + std::to_string(i));
  }
  std::vector<char> data(page, 'x');
  const auto each = [&](const char* test, const std::function<void(const std::string&)>& act) {
    table.add(test, target.name, rate(files, [&] {
                for (const auto& path : paths) act(path);
              }));
  };
  const auto status = [](const std::string& path) {
    struct stat found{};
    if (::lstat(path.c_str(), &found) != 0) fail(path);
  };
  const auto readOne = [&](const std::string& path) { readAll(path, 2 * page); };
  each("create and write 4 KiB, /s", [&](const std::string& path) {
    const FileDescriptor file = openFile(path, O_WRONLY | O_CREAT | O_EXCL);
    if (::write(file.get(), data.data(), data.size()) != static_cast<ssize_t>(data.size())) fail(path);
  });
  dropCaches();
  each("stat cold, /s", status);
  each("stat warm, /s", status);
  dropCaches();
  table.add("find cold, files/s", target.name, rate(files, [&] {
              for (const std::string& folder : folders) {
                DIR* const open = ::opendir(folder.c_str());
                if (open == nullptr) fail(folder);
                while (const dirent* entry = ::readdir(open)) {
                  struct stat found{};
                  if (::fstatat(::dirfd(open), entry->d_name, &found, AT_SYMLINK_NOFOLLOW) != 0) fail(folder);
                }
                ::closedir(open);
              }
            }));
  dropCaches();
  each("open, read, close cold, /s", readOne);
  each("open, read, close warm, /s", readOne);
  each("rename, /s", [](const std::string& path) {
    if (::rename(path.c_str(), (path + ".r").c_str()) != 0) fail(path);
  });
  each("unlink, /s", [](const std::string& path) {
    if (::unlink((path + ".r").c_str()) != 0) fail(path);
  });
  for (const std::string& folder : folders) ::rmdir(folder.c_str());
  ::rmdir(root.c_str());
}

// What the codec alone gives on one thread, block by block, memory to memory.
double decoderAlone(const std::string& path) {
  std::vector<std::vector<std::uint8_t>> chunks;
  std::vector<std::uint8_t> block(65'536);
  const FileDescriptor file = openFile(path, O_RDONLY);
  std::size_t total = 0;
  for (;;) {
    const ssize_t count = ::read(file.get(), block.data(), block.size());
    if (count <= 0) break;
    std::vector<std::uint8_t> chunk(block.size() + 64);
    chunk.resize(
        compression_encode_buffer(chunk, {block.data(), static_cast<std::size_t>(count)}, {}, COMPRESSION_LZFSE));
    chunks.push_back(std::move(chunk));
    total += static_cast<std::size_t>(count);
  }
  return rate(static_cast<double>(total) / mebibyte, [&] {
    for (const auto& chunk : chunks) {
      if (compression_decode_buffer(block, chunk, {}, COMPRESSION_LZFSE) == 0) fail("decode");
    }
  });
}

void compressed(Table& table, const Target& target) {
  struct stat status{};
  if (::stat(target.path.c_str(), &status) != 0) fail(target.path);
  const double size = static_cast<double>(status.st_size) / mebibyte;
  dropCaches();
  table.add(coldRead, target.name, rate(size, [&] { readAll(target.path, mebibyte); }));
  table.add("read warm, MiB/s", target.name, rate(size, [&] { readAll(target.path, mebibyte); }));
  dropCaches();
  table.add(coldRandomRead, target.name, randomReads(target.path, 500));
}

std::vector<Target> targetsFrom(const std::vector<std::string>& arguments, std::size_t first) {
  std::vector<Target> targets;
  for (std::size_t i = first; i < arguments.size(); ++i) {
    const std::size_t equals = arguments[i].find('=');
    if (equals == std::string::npos) fail("NAME=PATH is wanted, not " + arguments[i]);
    targets.push_back({arguments[i].substr(0, equals), arguments[i].substr(equals + 1)});
  }
  return targets;
}

int run(const std::vector<std::string>& arguments) {
  if (arguments.size() >= 5 && arguments[0] == "ordinary") {
    const auto targets = targetsFrom(arguments, 4);
    Table table(targets);
    for (int round = std::stoi(arguments[1]); round > 0; --round) {
      for (const Target& target : targets) {
        large(table, target, std::stoul(arguments[2]));
        small(table, target, std::stoi(arguments[3]));
      }
    }
    table.print();
    return 0;
  }
  if (arguments.size() >= 3 && arguments[0] == "compressed") {
    const auto targets = targetsFrom(arguments, 2);
    Table table(targets);
    std::vector<double> alone;
    for (int round = std::stoi(arguments[1]); round > 0; --round) {
      for (const Target& target : targets) compressed(table, target);
      alone.push_back(decoderAlone(targets.front().path));
    }
    table.print();
    constexpr double blocksPerMebibyte = 16;
    const double decoder = median(alone);
    std::printf("%-28s %20.0f\n", "decoder alone, MiB/s", decoder);
    std::printf("%-28s %20.0f\n", "decoder alone, blocks/s", decoder * blocksPerMebibyte);
    for (auto target = targets.begin() + 1; target != targets.end(); ++target) {
      std::printf("%s: cold read %.2f of the decoder alone; random cold reads %.2f of its blocks/s\n",
                  target->name.c_str(), table.of(coldRead, target->name) / decoder,
                  table.of(coldRandomRead, target->name) / (decoder * blocksPerMebibyte));
    }
    return 0;
  }
  std::fputs(
      "usage: VolumeBenchmark ordinary ROUNDS MEGABYTES FILES NAME=FOLDER...\n"
      "       VolumeBenchmark compressed ROUNDS NAME=FILE...\n",
      stderr);
  return 2;
}

}  // namespace
}  // namespace quillbrook

int main(int argc, char** argv) {
  return quillbrook::run({argv + 1, argv + argc});
}
