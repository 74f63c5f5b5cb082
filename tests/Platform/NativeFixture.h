// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "Codec/Compression.h"
#include "Compression/Header/DecmpfsHeader.h"
#include "Container/ContainerState.h"
#include "Platform/FileSystem.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/VolumeRegistration.h"
#include "Platform/LittleEndian.h"

namespace quillbrook::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}
inline std::string textOf(const Bytes& bytes) {
  return {bytes.begin(), bytes.end()};
}

inline constexpr std::string_view decmpfs = "com.apple.decmpfs";
inline constexpr std::string_view resourceFork = "com.apple.ResourceFork";
inline constexpr std::string_view marker = "com.studiomerlin.quillbrook.slimtmp";
inline constexpr XattrOptions shown{.noFollow = false, .showCompression = true};

// A folder of the test's own that counts as a volume mounted in place.
class NativeFixture : public testing::Test {
 protected:
  NativeFixture() {
    auto pattern = (std::filesystem::temp_directory_path() / "quillbrook-platform-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp");
    folder = FilePath(pattern);
    volume = std::make_unique<VolumeRegistration>(folder);
  }
  ~NativeFixture() override {
    volume.reset();
    std::error_code error;
    std::filesystem::remove_all(folder.bytes(), error);
  }

  [[nodiscard]] FilePath path(std::string_view name) const { return folder.appending(name); }

  FilePath ordinary(std::string_view name, std::string_view content) const {
    std::ofstream(path(name).bytes(), std::ios::binary) << content;
    return path(name);
  }

  [[nodiscard]] static std::string raw(const FilePath& file) {
    std::ifstream stream(file.bytes(), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  [[nodiscard]] static FileStatus status(const FilePath& file) { return FileSystem::native().lstat(file).value(); }

  // The logical bytes as a program would read them, in pieces that fit nothing.
  [[nodiscard]] static Result<std::string> content(const FilePath& file) {
    auto reader = FileSystem::native().openForReading(file);
    if (!reader) return std::unexpected(reader.error());
    std::string text;
    Bytes piece(7001);
    for (;;) {
      const auto got = (*reader)->read(piece);
      if (!got) return std::unexpected(got.error());
      if (*got == 0) return text;
      text.append(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(*got));
    }
  }

  [[nodiscard]] static Result<Bytes> attribute(const FilePath& file, std::string_view name, XattrOptions options = {}) {
    auto& files = FileSystem::native();
    const auto size = files.getxattr(file, name, {}, options);
    if (!size) return std::unexpected(size.error());
    Bytes value(*size + 1);
    const auto got = files.getxattr(file, name, value, options);
    if (!got) return std::unexpected(got.error());
    value.resize(*got);
    return value;
  }

  [[nodiscard]] static std::set<std::string> names(const FilePath& file, XattrOptions options = {}) {
    auto& files = FileSystem::native();
    std::string list(files.listxattr(file, {}, options).value(), '\0');
    EXPECT_EQ(files.listxattr(file, list, options).value(), list.size());
    std::set<std::string> all;
    for (std::size_t at = 0; at < list.size();) {
      const std::string name(list.c_str() + at);
      EXPECT_TRUE(all.insert(name).second) << name << " twice";
      at += name.size() + 1;
    }
    return all;
  }

  // An empty work file with its marker, as the engine makes it.
  static void createWork(const FilePath& work, const FilePath& like) {
    auto writer = FileSystem::native().createExclusively(work, 0600, like);
    ASSERT_TRUE(writer) << writer.error().text();
    ASSERT_TRUE((*writer)->fsetxattr(marker, Bytes{1}));
    ASSERT_TRUE((*writer)->close());
  }

  [[nodiscard]] static Bytes valueOf(CompressionType type, const std::string& text, const Bytes& payload) {
    const auto header = DecmpfsHeader::encode(type, text.size());
    Bytes value(header.begin(), header.end());
    value.insert(value.end(), payload.begin(), payload.end());
    return value;
  }

  [[nodiscard]] static Bytes lzfse(std::string_view text) {
    Bytes stream(text.size() + 64);
    const auto source = bytesOf(text);
    stream.resize(compression_encode_buffer(stream, source, {}, COMPRESSION_LZFSE));
    return stream;
  }

  // Table and chunks of 64 KiB blocks.
  [[nodiscard]] static Bytes forkOf(const std::string& text) {
    std::vector<Bytes> chunks;
    for (std::size_t at = 0; at < text.size(); at += 65'536) chunks.push_back(lzfse(text.substr(at, 65'536)));
    Bytes fork((chunks.size() + 1) * 4);
    for (std::size_t i = 0; i < chunks.size(); ++i) {
      LittleEndian::store(fork.data() + i * 4, static_cast<std::uint32_t>(fork.size()));
      fork.insert(fork.end(), chunks[i].begin(), chunks[i].end());
    }
    LittleEndian::store(fork.data() + chunks.size() * 4, static_cast<std::uint32_t>(fork.size()));
    return fork;
  }

  // A sealed container of that content, inline when it is short.
  FilePath compressed(std::string_view name, const std::string& text) const {
    auto& files = FileSystem::native();
    const auto file = path(name);
    createWork(file, file);
    const bool isInline = text.size() <= 16'384;
    const auto value = isInline ? valueOf(CompressionType::lzfseAttr, text, lzfse(text))
                                : valueOf(CompressionType::lzfseRsrc, text, {});
    EXPECT_TRUE(files.setxattr(file, decmpfs, value, {}));
    if (!isInline) {
      EXPECT_TRUE(files.setxattr(file, resourceFork, forkOf(text), {}));
    }
    const auto sealed = files.chflags(file, UF_COMPRESSED);
    EXPECT_TRUE(sealed) << sealed.error().text();
    EXPECT_TRUE(files.removexattr(file, marker, {.noFollow = true}));
    return file;
  }

  // Runs `body` in a process of its own; what it returns is the exit status.
  static int inOtherProcess(const std::function<int()>& body) {
    const auto child = fork();
    if (child == 0) _exit(body());
    int outcome = 0;
    EXPECT_EQ(waitpid(child, &outcome, 0), child);
    return WIFEXITED(outcome) ? WEXITSTATUS(outcome) : -1;
  }

  FilePath folder;
  std::unique_ptr<VolumeRegistration> volume;
};

inline std::string prose(std::size_t byteCount) {
  std::string text;
  for (unsigned i = 0; text.size() < byteCount; ++i) text += "line " + std::to_string(i * 2'654'435'761U) + " of it\n";
  text.resize(byteCount);
  return text;
}

}  // namespace quillbrook::test
