// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "Compression/FileCompressionInspector.h"
#include "Compression/Header/DecmpfsHeader.h"
#include "Platform/LittleEndian.h"
#include "Platform/ReservedNames.h"
#include "TestData.h"
#include "support/FaultyFileSystem.h"
#include "support/MemoryFileSystem.h"

namespace quillbrook {
namespace {

const FilePath url("/folder/a");
const std::string decmpfs(ReservedNames::decmpfs);
const std::string resourceFork(ReservedNames::resourceFork);

TestData::Bytes header(std::uint32_t type, std::uint64_t size) {
  auto encoded = DecmpfsHeader::encode(CompressionType::lzfseAttr, size);
  LittleEndian::store(encoded.data() + 4, type);
  return {encoded.begin(), encoded.end()};
}

std::string outcome(const std::expected<FileCompressionInfo, FileCompressionInspectionError>& result) {
  if (!result) return describe(result.error());
  std::string text(caseName(result->status));
  if (const auto* compressed = std::get_if<Compressed>(&result->status)) {
    text += " " + std::string(name(compressed->algorithm)) + " " + std::to_string(compressed->uncompressedSize);
  }
  return text + " " + std::to_string(result->logicalSize) + " " + std::to_string(result->physicalSize);
}

TEST(FileCompressionInspectorTest, JudgesOrdinaryEntriesByOneCall) {
  const struct {
    std::size_t size;
    FileKind kind;
    std::uint64_t links;
    std::string expected;
  } cases[]{
      {4'095, FileKind::regular, 1, "incompressible 4095 4096"},
      {4'096, FileKind::regular, 1, "uncompressed 4096 4096"},
      {4'097, FileKind::regular, 1, "uncompressed 4097 8192"},
      {100'000, FileKind::regular, 2, "incompressible 100000 102400"},
      {5'000, FileKind::symbolicLink, 1, "incompressible 5000 8192"},
      {5'000, FileKind::directory, 1, "incompressible 5000 8192"},
      {5'000, FileKind::other, 1, "incompressible 5000 8192"},
  };
  for (const auto& c : cases) {
    MemoryFileSystem memory;
    auto& node = memory.put(url, TestData::Bytes(c.size));
    node.status.kind = c.kind;
    node.status.st_nlink = c.links;
    FaultyFileSystem counting(memory, nullptr);
    EXPECT_EQ(outcome(FileCompressionInspector::inspect(url, counting)), c.expected);
    EXPECT_EQ(counting.calls().size(), 1U);
  }
}

TEST(FileCompressionInspectorTest, ReadsTheHeaderOfCompressedFiles) {
  const struct {
    std::optional<TestData::Bytes> attribute;
    std::size_t forkSize;
    std::string expected;
  } cases[]{
      {header(4, 70'000), 9'000, "compressed zlibRsrc 70000 70000 12288"},
      {header(11, 70'000), 0, "compressed lzfseAttr 70000 70000 4096"},
      {header(0x80000001, 70'000), 0, "datalessCloud 0 4096"},
      {header(2, 5), 0, "decmpfsHeaderInvalid(reason: unknownCompressionType(2))"},
      {TestData::Bytes(15), 0, "decmpfsHeaderInvalid(reason: insufficientBytes(needed: 16, got: 15))"},
      {TestData::Bytes{}, 0, "decmpfsHeaderInvalid(reason: insufficientBytes(needed: 16, got: 0))"},
      {TestData::Bytes(16), 0, "decmpfsHeaderInvalid(reason: invalidMagic(0))"},
      {std::nullopt, 0, "decmpfsHeaderMissingDespiteFlag"},
  };
  for (const auto& c : cases) {
    MemoryFileSystem memory;
    auto& node = memory.put(url, {});
    node.status.st_flags = UF_COMPRESSED;
    if (c.attribute) node.attributes[decmpfs] = *c.attribute;
    if (c.forkSize != 0) node.attributes[resourceFork].resize(c.forkSize);
    EXPECT_EQ(outcome(FileCompressionInspector::inspect(url, memory)), c.expected);
  }
}

TEST(FileCompressionInspectorTest, ClassifiesWithoutAPlatform) {
  using FileCompressionInspector::classify;
  EXPECT_EQ(outcome(classify(0, std::nullopt, 10, 20)), "uncompressed 10 20");
  EXPECT_EQ(outcome(classify(UF_COMPRESSED | UF_NODUMP, header(7, 5), 10, 20)), "compressed lzvnAttr 5 10 20");
  EXPECT_EQ(outcome(classify(UF_COMPRESSED, std::nullopt, 10, 20)), "decmpfsHeaderMissingDespiteFlag");
}

TEST(FileCompressionInspectorTest, ReportsFailingCallsAndCountsAPayloadThatBlocksDoNotShow) {
  // A file that occupies no block of its own but for its attribute.
  class Blockless : public ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    Result<FileStatus> lstat(const FilePath& path) override {
      auto status = ForwardingFileSystem::lstat(path);
      if (status) status->st_blocks = 0;
      return status;
    }
  };
  MemoryFileSystem memory;
  auto& node = memory.put(url, {});
  node.status.st_flags = UF_COMPRESSED;
  node.attributes[decmpfs] = header(11, 4'500);
  node.attributes[decmpfs].resize(200);
  Blockless blockless(memory);
  const struct {
    std::size_t failing;
    int error;
    std::string expected;
  } cases[]{
      {99, 0, "compressed lzfseAttr 4500 4500 200"},          {0, ENOENT, "fileNotFound(/folder/a)"},
      {0, EACCES, "ioError(/folder/a, lstat: errno=13)"},     {1, ENODATA, "decmpfsHeaderMissingDespiteFlag"},
      {1, EIO, "ioError(/folder/a, getxattr size: errno=5)"}, {2, ENOENT, "ioError(/folder/a, getxattr read: errno=2)"},
      {3, EIO, "compressed lzfseAttr 4500 4500 200"},
  };
  for (const auto& c : cases) {
    FaultyFileSystem faulty(blockless, [&](const FaultyFileSystem::Call& call) {
      return call.number == c.failing ? std::optional(ErrorNumber{c.error}) : std::nullopt;
    });
    EXPECT_EQ(outcome(FileCompressionInspector::inspect(url, faulty)), c.expected);
  }
}

TEST(FileCompressionInspectionErrorTest, TellsTheUser) {
  EXPECT_EQ(userText(FileNotFound{url}), "ファイルが見つかりません: /folder/a");
  EXPECT_EQ(userText(DecmpfsHeaderInvalid{"invalidMagic(0)"}), "decmpfs ヘッダが不正: invalidMagic(0)");
  EXPECT_EQ(userText(IOError{url, "lstat: errno=5"}), "I/O エラー: lstat: errno=5\nパス: /folder/a");
  EXPECT_EQ(userText(DecmpfsHeaderMissingDespiteFlag{}), "圧縮フラグが立っていますが decmpfs ヘッダが見つかりません。");
}

}  // namespace
}  // namespace quillbrook
