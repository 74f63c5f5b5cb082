// SPDX-License-Identifier: MIT

#include "Compression/FileCompressionInspector.h"
#include "Platform/ReservedNames.h"
#include "Support/FaultyFileSystem.h"
#include "Support/MemoryFileSystem.h"
#include "TestData.h"

namespace quillbrook::test {
namespace {

std::string outcome(const std::expected<FileCompressionInfo, FileCompressionInspectionError>& result) {
  if (!result) return describe(result.error());
  std::string text(caseName(result->status));
  if (const auto* compressed = std::get_if<Compressed>(&result->status)) {
    text += " " + std::string(name(compressed->algorithm)) + " " + std::to_string(compressed->uncompressedSize);
  }
  return text + " " + std::to_string(result->logicalSize) + " " + std::to_string(result->physicalSize);
}

class FileCompressionInspectorTest : public testing::Test {
 protected:
  MemoryFileSystem::Node& putCompressed(const std::optional<Bytes>& attribute) {
    auto& node = memory_.put(url_, {});
    node.status.st_flags = UF_COMPRESSED;
    if (attribute) node.attributes[std::string(ReservedNames::decmpfs)] = *attribute;
    return node;
  }
  [[nodiscard]] std::string inspect(FileSystem& fileSystem) const {
    return outcome(FileCompressionInspector::inspect(url_, fileSystem));
  }

  const FilePath url_{"/a"};
  MemoryFileSystem memory_;
};

TEST_F(FileCompressionInspectorTest, JudgesOrdinaryEntriesByOneCall) {
  const std::vector<std::tuple<std::size_t, FileKind, std::uint64_t, std::string>> cases{
      {4'095, FileKind::regular, 1, "incompressible 4095 4096"},
      {4'096, FileKind::regular, 1, "uncompressed 4096 4096"},
      {100'000, FileKind::regular, 2, "incompressible 100000 102400"},
      {5'000, FileKind::symbolicLink, 1, "incompressible 5000 8192"},
  };
  for (const auto& [size, kind, links, expected] : cases) {
    auto& node = memory_.put(url_, Bytes(size));
    node.status.kind = kind;
    node.status.st_nlink = links;
    FaultyFileSystem counting(memory_, nullptr);
    EXPECT_EQ(inspect(counting), expected);
    EXPECT_EQ(counting.calls().size(), 1U);
  }
  EXPECT_EQ(outcome(FileCompressionInspector::classify(0, std::nullopt, 10, 20)), "uncompressed 10 20");
}

TEST_F(FileCompressionInspectorTest, ReadsTheHeaderOfCompressedFiles) {
  const std::vector<std::tuple<std::optional<Bytes>, std::size_t, std::string>> cases{
      {header(4, 70'000), 9'000, "compressed zlibRsrc 70000 70000 12288"},
      {header(11, 70'000), 0, "compressed lzfseAttr 70000 70000 4096"},
      {header(0x80000001, 70'000), 0, "datalessCloud 0 4096"},
      {header(2, 5), 0, "decmpfsHeaderInvalid(reason: unknownCompressionType(2))"},
      {Bytes(15), 0, "decmpfsHeaderInvalid(reason: insufficientBytes(needed: 16, got: 15))"},
      {Bytes{}, 0, "decmpfsHeaderInvalid(reason: insufficientBytes(needed: 16, got: 0))"},
      {Bytes(16), 0, "decmpfsHeaderInvalid(reason: invalidMagic(0))"},
      {std::nullopt, 0, "decmpfsHeaderMissingDespiteFlag"},
  };
  for (const auto& [attribute, forkSize, expected] : cases) {
    auto& node = putCompressed(attribute);
    if (forkSize != 0) node.attributes[std::string(ReservedNames::resourceFork)].resize(forkSize);
    EXPECT_EQ(inspect(memory_), expected);
  }
}

TEST_F(FileCompressionInspectorTest, ReportsFailingCallsAndCountsAPayloadThatBlocksDoNotShow) {
  // A file that occupies no block of its own but for its attribute.
  struct Blockless : ForwardingFileSystem {
    using ForwardingFileSystem::ForwardingFileSystem;
    Result<FileStatus> lstat(const FilePath& path) override {
      auto status = ForwardingFileSystem::lstat(path);
      if (status) status->st_blocks = 0;
      return status;
    }
  };
  putCompressed(header(11, 4'500) + Bytes(184));
  Blockless blockless(memory_);
  const std::vector<std::tuple<std::size_t, int, std::string>> cases{
      {99, 0, "compressed lzfseAttr 4500 4500 200"},   {0, ENOENT, "fileNotFound(/a)"},
      {0, EACCES, "ioError(/a, lstat: errno=13)"},     {1, ENODATA, "decmpfsHeaderMissingDespiteFlag"},
      {1, EIO, "ioError(/a, getxattr size: errno=5)"}, {2, ENOENT, "ioError(/a, getxattr read: errno=2)"},
      {3, EIO, "compressed lzfseAttr 4500 4500 200"},
  };
  for (const auto& [failing, error, expected] : cases) {
    FaultyFileSystem faulty(blockless, [&](const FaultyFileSystem::Call& call) {
      return call.number == failing ? std::optional(ErrorNumber{error}) : std::nullopt;
    });
    EXPECT_EQ(inspect(faulty), expected);
  }
}

TEST_F(FileCompressionInspectorTest, TellsTheUser) {
  EXPECT_EQ(userText(FileNotFound{url_}), "ファイルが見つかりません: /a");
  EXPECT_EQ(userText(DecmpfsHeaderInvalid{"invalidMagic(0)"}), "decmpfs ヘッダが不正: invalidMagic(0)");
  EXPECT_EQ(userText(IOError{url_, "lstat: errno=5"}), "I/O エラー: lstat: errno=5\nパス: /a");
  EXPECT_EQ(userText(DecmpfsHeaderMissingDespiteFlag{}), "圧縮フラグが立っていますが decmpfs ヘッダが見つかりません。");
}

}  // namespace
}  // namespace quillbrook::test
