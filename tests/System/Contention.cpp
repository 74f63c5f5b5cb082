// SPDX-License-Identifier: MIT
//
// Programs at work in a folder while something else swaps its files underneath: every role keeps a copy in memory of
// what its files must hold and compares, byte by byte.
//
//   contention FOLDER SECONDS SEED      exit 0: every byte was where it belongs; 1: the first difference, in words
//   contention --verify FOLDER COPIES   compares FOLDER with the copies that the first form left in FOLDER.copies

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Linux/FileDescriptor.h"
#include "Pattern.h"

namespace quillbrook {
namespace {

using Random = std::mt19937_64;

std::atomic<bool> stopping = false;
std::atomic<std::uint64_t> operations = 0;

[[noreturn]] void fail(const std::string& what, const std::string& path) {
  std::fprintf(stderr, "contention: %s: %s (errno %d, %s)\n", path.c_str(), what.c_str(), errno, std::strerror(errno));
  std::_Exit(1);
}

void need(bool ok, const std::string& what, const std::string& path) {
  if (!ok) fail(what, path);
}

std::size_t below(Random& random, std::size_t limit) { return static_cast<std::size_t>(random() % limit); }

void writeAll(int file, std::string_view bytes, const std::string& path) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(file, bytes.data(), bytes.size());
    need(count > 0, "write", path);
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

// One file of one role, and what it must hold.
struct Guarded {
  std::string path;
  std::uint64_t identifier = 0;
  std::string expected;

  void compare(std::string_view found, const char* when) const {
    if (found == expected) return;
    const auto [here, there] = std::mismatch(expected.begin(), expected.end(), found.begin(), found.end());
    std::fprintf(stderr, "contention: %s differs %s: first at %zd, %zu bytes expected, %zu found\n", path.c_str(), when,
                 here - expected.begin(), expected.size(), found.size());
    std::_Exit(1);
  }
  void verify(const char* when) const {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    need(file.isOpen(), "open for reading", path);
    verify(file.get(), when);
  }
  void verify(int file, const char* when) const {
    std::string found(expected.size() + 4096, '\0');
    std::size_t length = 0;
    while (length < found.size()) {
      const ssize_t count = ::pread(file, found.data() + length, found.size() - length, static_cast<off_t>(length));
      need(count >= 0, "read", path);
      if (count == 0) break;
      length += static_cast<std::size_t>(count);
    }
    compare(std::string_view(found).substr(0, length), when);
  }
  FileDescriptor open(int flags) const {
    FileDescriptor file(::open(path.c_str(), flags | O_CLOEXEC, 0644));
    need(file.isOpen(), "open for writing", path);
    return file;
  }
};

void fill(Guarded& file, std::size_t size) {
  file.expected = Pattern::bytes(file.identifier, 0, size);
  const FileDescriptor out = file.open(O_WRONLY | O_CREAT | O_TRUNC);
  writeAll(out.get(), file.expected, file.path);
}

void append(Guarded& file, Random& random) {
  const FileDescriptor out = file.open(O_WRONLY | O_APPEND);
  for (std::size_t records = 1 + below(random, 5); records > 0; --records) {
    const std::string record = Pattern::bytes(file.identifier, file.expected.size(), 1 + below(random, 3000));
    writeAll(out.get(), record, file.path);
    file.expected += record;
    if (below(random, 4) == 0) std::this_thread::yield();
  }
}

void overwrite(Guarded& file, Random& random) {
  const FileDescriptor out = file.open(O_RDWR);
  for (std::size_t writes = 1 + below(random, 4); writes > 0; --writes) {
    const std::size_t offset = below(random, file.expected.size());
    const std::string bytes = Pattern::bytes(file.identifier ^ random(), offset, 1 + below(random, 70'000));
    const ssize_t count = ::pwrite(out.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    need(count == static_cast<ssize_t>(bytes.size()), "pwrite", file.path);
    if (file.expected.size() < offset + bytes.size()) file.expected.resize(offset + bytes.size());
    file.expected.replace(offset, bytes.size(), bytes);
    if (below(random, 3) == 0) file.verify(out.get(), "through the writing handle");
  }
}

void truncate(Guarded& file, Random& random) {
  const std::size_t size = below(random, 300'000);
  need(::truncate(file.path.c_str(), static_cast<off_t>(size)) == 0, "truncate", file.path);
  const std::size_t kept = std::min(size, file.expected.size());
  file.expected.resize(kept);
  file.expected.resize(size, '\0');
}

void saveLikeAnEditor(Guarded& file, Random& random) {
  Guarded next{file.path + ".new", file.identifier ^ random(), {}};
  fill(next, 1 + below(random, 200'000));
  need(::rename(next.path.c_str(), file.path.c_str()) == 0, "rename", file.path);
  file.expected = next.expected;
}

void moveAway(Guarded& file, Random& random) {
  const std::string other = file.path + ".moved";
  need(::rename(file.path.c_str(), other.c_str()) == 0, "rename", file.path);
  Guarded moved{other, file.identifier, file.expected};
  if (below(random, 2) == 0) append(moved, random);
  moved.verify("under its other name");
  need(::rename(other.c_str(), file.path.c_str()) == 0, "rename back", file.path);
  file.expected = moved.expected;
}

void unlinkWhileOpen(Guarded& file, Random& random) {
  {
    const FileDescriptor handle = file.open(O_RDWR);
    need(::unlink(file.path.c_str()) == 0, "unlink", file.path);
    file.verify(handle.get(), "after it was unlinked");
    const std::string more = Pattern::bytes(file.identifier, file.expected.size(), 5000);
    need(::pwrite(handle.get(), more.data(), more.size(), static_cast<off_t>(file.expected.size())) ==
             static_cast<ssize_t>(more.size()),
         "write after unlink", file.path);
    file.expected += more;
    file.verify(handle.get(), "written after it was unlinked");
  }
  fill(file, 1 + below(random, 200'000));
}

void map(Guarded& file, Random& random) {
  if (file.expected.empty()) return fill(file, 100'000);
  const FileDescriptor handle = file.open(O_RDWR);
  void* const address = ::mmap(nullptr, file.expected.size(), PROT_READ | PROT_WRITE, MAP_SHARED, handle.get(), 0);
  need(address != MAP_FAILED, "mmap", file.path);
  auto* const bytes = static_cast<char*>(address);
  for (std::size_t stores = 1 + below(random, 20); stores > 0; --stores) {
    const std::size_t at = below(random, file.expected.size());
    const char value = static_cast<char>('A' + random() % 26);
    bytes[at] = value;
    file.expected[at] = value;
  }
  if (below(random, 2) == 0) need(::msync(address, file.expected.size(), MS_SYNC) == 0, "msync", file.path);
  file.compare({bytes, file.expected.size()}, "through the mapping");
  need(::munmap(address, file.expected.size()) == 0, "munmap", file.path);
}

void linkAndWrite(Guarded& file, Random& random) {
  const std::string other = file.path + ".link";
  need(::link(file.path.c_str(), other.c_str()) == 0, "link", file.path);
  Guarded linked{other, file.identifier, file.expected};
  append(linked, random);
  file.expected = linked.expected;
  file.verify("after a write under its other name");
  need(::unlink(other.c_str()) == 0, "unlink of the link", file.path);
}

struct Role {
  const char* name;
  void (*act)(Guarded&, Random&);
};
constexpr Role roles[] = {{"append", append},       {"overwrite", overwrite}, {"truncate", truncate},
                          {"save", saveLikeAnEditor}, {"move", moveAway},       {"unlink", unlinkWhileOpen},
                          {"map", map},             {"link", linkAndWrite}};

void play(const Role& role, std::vector<Guarded>& files, std::uint64_t seed) {
  Random random(seed);
  for (Guarded& file : files) fill(file, 4096 + below(random, 150'000));
  while (!stopping) {
    Guarded& file = files[below(random, files.size())];
    file.verify("before a change");
    // Left alone for a moment, so that the file is compressed now and then in between.
    std::this_thread::sleep_for(std::chrono::microseconds(below(random, 30'000)));
    role.act(file, random);
    if (file.expected.size() > 400'000) fill(file, 4096 + below(random, 150'000));
    if (below(random, 2) == 0) file.verify("after a change");
    ++operations;
  }
  for (Guarded& file : files) file.verify("at the end");
}

void save(const Guarded& file, const std::filesystem::path& copies) {
  std::ofstream out(copies / std::filesystem::path(file.path).filename(), std::ios::binary);
  out << file.expected;
  out.close();
  need(static_cast<bool>(out), "writing the copy", file.path);
}

int run(const std::string& folder, int seconds, std::uint64_t seed) {
  std::vector<std::vector<Guarded>> files;
  std::uint64_t identifier = seed << 8;
  for (const Role& role : roles) {
    auto& own = files.emplace_back();
    for (int i = 0; i < 4; ++i) {
      own.push_back({folder + "/" + role.name + "." + std::to_string(i), identifier++, {}});
    }
  }
  {
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < std::size(roles); ++i) {
      threads.emplace_back([&files, i, seed] { play(roles[i], files[i], seed * 100 + i); });
    }
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    stopping = true;
  }
  const std::filesystem::path copies = folder + ".copies";
  std::filesystem::create_directories(copies);
  for (const auto& own : files) {
    for (const Guarded& file : own) save(file, copies);
  }
  std::printf("contention: %llu operations, every byte where it belongs (seed %llu)\n",
              static_cast<unsigned long long>(operations.load()), static_cast<unsigned long long>(seed));
  return 0;
}

int verify(const std::string& folder, const std::string& copies) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(copies)) {
    std::ifstream in(entry.path(), std::ios::binary);
    Guarded file{folder + "/" + entry.path().filename().string(), 0, {std::istreambuf_iterator<char>(in), {}}};
    file.verify("afterwards");
    ++count;
  }
  need(count > 0, "no copies to compare with", copies);
  std::printf("contention: %d files hold what they must\n", count);
  return 0;
}

}  // namespace
}  // namespace quillbrook

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (arguments.size() == 3 && arguments[0] == "--verify") return quillbrook::verify(arguments[1], arguments[2]);
  if (arguments.size() == 3) {
    return quillbrook::run(arguments[0], std::atoi(arguments[1].c_str()), std::strtoull(arguments[2].c_str(), nullptr, 10));
  }
  std::fputs("usage: contention FOLDER SECONDS SEED | contention --verify FOLDER COPIES\n", stderr);
  return 2;
}
