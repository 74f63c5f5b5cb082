// SPDX-License-Identifier: MIT
//
// What a write() had returned for must be there after the daemon was killed.
//
//   acknowledged write FOLDER JOURNAL SEED   appends to files in FOLDER, notes in JOURNAL (elsewhere) how long each is
//                                            after every write that returned; ends when a call fails
//   acknowledged verify FOLDER JOURNAL       exit 0 if every file is at least that long and every byte right

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "Platform/Linux/FileDescriptor.h"
#include "Pattern.h"

namespace quillbrook {
namespace {

constexpr int fileCount = 8;

std::string pathOf(const std::string& folder, int file) { return folder + "/record." + std::to_string(file); }

using Lengths = std::array<std::uint64_t, fileCount>;

// The journal is one array of lengths, rewritten in place: the page cache keeps it when the writer dies.
Lengths load(const std::string& journal) {
  Lengths lengths{};
  std::ifstream in(journal, std::ios::binary);
  in.read(reinterpret_cast<char*>(lengths.data()), sizeof lengths);
  return lengths;
}

int write(const std::string& folder, const std::string& journal, std::uint64_t seed) {
  Lengths lengths = load(journal);
  const FileDescriptor notes(::open(journal.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
  if (!notes.isOpen()) return 2;
  std::mt19937_64 random(seed);
  for (;;) {
    const int file = static_cast<int>(random() % fileCount);
    const FileDescriptor out(::open(pathOf(folder, file).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    if (!out.isOpen()) return 0;
    for (int records = static_cast<int>(random() % 6); records >= 0; --records) {
      auto& length = lengths.at(static_cast<std::size_t>(file));
      const std::string record = Pattern::bytes(static_cast<std::uint64_t>(file), length, 1 + random() % 20'000);
      const ssize_t count = ::pwrite(out.get(), record.data(), record.size(), static_cast<off_t>(length));
      if (count <= 0) return 0;
      length += static_cast<std::uint64_t>(count);
      if (::pwrite(notes.get(), &lengths, sizeof lengths, 0) != sizeof lengths) return 2;
    }
  }
}

int verify(const std::string& folder, const std::string& journal) {
  const Lengths lengths = load(journal);
  std::uint64_t total = 0;
  for (int file = 0; file < fileCount; ++file) {
    const std::string path = pathOf(folder, file);
    std::ifstream in(path, std::ios::binary);
    const std::string found{std::istreambuf_iterator<char>(in), {}};
    const std::uint64_t wanted = lengths.at(static_cast<std::size_t>(file));
    if (found.size() < wanted) {
      std::fprintf(stderr, "acknowledged: %s has %zu bytes, %llu were written\n", path.c_str(), found.size(),
                   static_cast<unsigned long long>(wanted));
      return 1;
    }
    for (std::size_t i = 0; i < found.size(); ++i) {
      if (found[i] == Pattern::byteAt(static_cast<std::uint64_t>(file), i)) continue;
      std::fprintf(stderr, "acknowledged: %s is wrong at byte %zu of %zu\n", path.c_str(), i, found.size());
      return 1;
    }
    total += found.size();
  }
  std::printf("acknowledged: %llu bytes, all right\n", static_cast<unsigned long long>(total));
  return 0;
}

}  // namespace
}  // namespace quillbrook

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (arguments.size() == 4 && arguments[0] == "write") {
    return quillbrook::write(arguments[1], arguments[2], std::strtoull(arguments[3].c_str(), nullptr, 10));
  }
  if (arguments.size() == 3 && arguments[0] == "verify") return quillbrook::verify(arguments[1], arguments[2]);
  std::fputs("usage: acknowledged write FOLDER JOURNAL SEED | acknowledged verify FOLDER JOURNAL\n", stderr);
  return 2;
}
