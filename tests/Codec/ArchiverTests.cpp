// SPDX-License-Identifier: MIT
//
// Our streams read by an archiver that shares nothing with this codec.
#include <gtest/gtest.h>
#include <stdlib.h>  // mkdtemp is POSIX's, not C++'s

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "Codec/Compression.h"
#include "Codec/DiskImage.h"
#include "Codec/GeneratedContent.h"
#include "Codec/LzfseBlockBuilder.h"

namespace quillbrook {

namespace {

class Archiver : public testing::Test {
 protected:
  void SetUp() override {
    if (std::system("command -v 7zz >/dev/null 2>&1") != 0) {
      GTEST_SKIP() << "7zz (Debian package 7zip) is missing: no independent reader to check our streams";
    }
    std::string pattern = (std::filesystem::temp_directory_path() / "codec-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }
  void TearDown() override {
    if (!folder_.empty()) std::filesystem::remove_all(folder_);
  }

  ByteVector extract(const std::vector<DiskImage::Chunk>& chunks) {
    const std::filesystem::path path = folder_ / "streams.dmg";
    const ByteVector image = DiskImage::of(chunks);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(image.data()), static_cast<std::streamsize>(image.size()));
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(
        popen(("7zz e -so '" + path.string() + "'  2>/dev/null").c_str(), "r"), pclose);
    ByteVector content;
    ByteVector buffer(65'536);
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) {
      content.insert(content.end(), buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count));
    }
    return content;
  }

 private:
  std::filesystem::path folder_;
};

DiskImage::Chunk chunkOf(const ByteVector& content) {
  DiskImage::Chunk chunk{content.size(), ByteVector(content.size() + 64)};
  chunk.stream.resize(compression_encode_buffer(chunk.stream, content, {}, COMPRESSION_LZFSE));
  return chunk;
}

}  // namespace

TEST_F(Archiver, readsWhatTheEncoderWrites) {
  using namespace GeneratedContent;
  const ByteVector farAway = randomOf(128, 262'144 - 512);
  const std::vector<ByteVector> contents{
      text(65'536),        // one LZFSE block
      ByteVector(512),     // LZVN
      periodic(3, 1'024),  // LZVN
      text(1'024),
      manyMatches(1'048'576),   // several blocks, by matches
      randomOf(16, 1'048'576),  // several blocks, by literals
      randomOf(1, 1'048'576),   // matches longer than one triple
      text(1'048'576, 2),
      farAway + farAway,  // distances near the largest
  };
  std::vector<DiskImage::Chunk> chunks;
  ByteVector expected;
  for (const ByteVector& content : contents) {
    chunks.push_back(chunkOf(content));
    expected = expected + content;
  }
  EXPECT_TRUE(extract(chunks) == expected);
}

// Alone, as this archiver mistakes what follows a stored block.
TEST_F(Archiver, readsAStoredBlock) {
  const ByteVector content = GeneratedContent::random(65'536);
  EXPECT_TRUE(extract({chunkOf(content)}) == content);
}

// Vouches for the builder that the decoder's tests rest on, but for the plain header, which this archiver does not
// read.
TEST_F(Archiver, readsWhatTheBlockBuilderBuilds) {
  LzfseBlockBuilder block{
      .literals = bytesOf("abcxyz"), .triples = {{3, 4, 3}, {1, 3, 0}, {2, 0, 1}, {0, 499, 0}}, .rawBytes = 512};
  block.encode();
  ByteVector expected(512);
  ASSERT_EQ(compression_decode_buffer(expected, block.packed(), {}, COMPRESSION_LZFSE), 512U);
  EXPECT_TRUE(extract({{512, block.packed() + endMarker()}}) == expected);
}

}  // namespace quillbrook
