// SPDX-License-Identifier: MIT
#pragma once

#include "Container/BuiltContainer.h"
#include "Platform/FileSystem.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/LittleEndian.h"
#include "Support/ChildProcess.h"
#include "Support/CompressingFileSystem.h"
#include "Support/ScratchFolder.h"

namespace quillbrook::test {

inline constexpr std::string_view decmpfs = "com.apple.decmpfs";
inline constexpr std::string_view resourceFork = "com.apple.ResourceFork";
inline constexpr std::string_view marker = "com.studiomerlin.quillbrook.slimtmp";
inline constexpr XattrOptions shown{.noFollow = false, .showCompression = true};
inline constexpr XattrOptions unfollowed{.noFollow = true, .showCompression = false};

inline std::string prose(std::size_t byteCount) {
  const auto bytes = text(byteCount);
  return {bytes.begin(), bytes.end()};
}

// A folder of the test's own, in which files can be compressed without a volume.
class NativeFixture : public testing::Test {
 protected:
  [[nodiscard]] FilePath path(std::string_view name) const { return scratch.path(name); }

  FilePath ordinary(std::string_view name, std::string_view content) const {
    scratch.write(name, content);
    return path(name);
  }

  [[nodiscard]] static std::string raw(const FilePath& file) {
    std::ifstream stream(file.bytes(), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  [[nodiscard]] FileStatus status(const FilePath& file) const { return files.lstat(file).value(); }

  // The logical bytes as a program would read them, in pieces that fit nothing.
  [[nodiscard]] Result<std::string> content(const FilePath& file) const {
    auto reader = files.openForReading(file);
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

  [[nodiscard]] Result<Bytes> attribute(const FilePath& file, std::string_view name, XattrOptions options = {}) const {
    const auto size = files.getxattr(file, name, {}, options);
    if (!size) return std::unexpected(size.error());
    Bytes value(*size + 1);
    const auto got = files.getxattr(file, name, value, options);
    if (!got) return std::unexpected(got.error());
    return prefix(value, *got);
  }

  [[nodiscard]] std::set<std::string> names(const FilePath& file) const {
    std::string list(files.listxattr(file, {}, {}).value(), '\0');
    EXPECT_EQ(files.listxattr(file, list, {}), list.size());
    std::set<std::string> all;
    for (std::size_t at = 0; at < list.size(); at = list.find('\0', at) + 1) {
      EXPECT_TRUE(all.insert(list.c_str() + at).second) << list.c_str() + at << " twice";
    }
    return all;
  }

  [[nodiscard]] std::unique_ptr<LockableFile> opened(const FilePath& file) const {
    return std::move(files.openForLocking(file).value());
  }
  [[nodiscard]] std::unique_ptr<LockableFile> locked(const FilePath& file) const {
    auto lock = opened(file);
    EXPECT_TRUE(lock->flock());
    return lock;
  }

  // An empty work file with its marker, as the engine makes it.
  FilePath work(std::string_view name, const FilePath& like = FilePath("/")) const {
    const auto writer = std::move(files.createExclusively(path(name), 0600, like).value());
    EXPECT_TRUE(writer->fsetxattr(marker, Bytes{1}));
    EXPECT_TRUE(writer->close());
    return path(name);
  }

  // The payload of that content, inline when it is short.
  void setPayload(const FilePath& file, const Bytes& content) const {
    const bool isInline = content.size() <= 16'384;
    const auto type = isInline ? CompressionType::lzfseAttr : CompressionType::lzfseRsrc;
    const auto value = valueOf(type, content.size(), isInline ? encoded(content) : Bytes());
    EXPECT_TRUE(files.setxattr(file, decmpfs, value, {}));
    EXPECT_TRUE(isInline || files.setxattr(file, resourceFork, lzfseForkOf(content), {}));
  }

  // A sealed container of that content.
  FilePath compressed(std::string_view name, const std::string& text) const {
    const auto file = work(name);
    setPayload(file, bytesOf(text));
    EXPECT_TRUE(files.chflags(file, UF_COMPRESSED));
    EXPECT_TRUE(files.removexattr(file, marker, unfollowed));
    return file;
  }

  FileSystem& files = CompressingFileSystem::instance();
  const ScratchFolder scratch;
  const FilePath folder = scratch.folder();
};

}  // namespace quillbrook::test
