// SPDX-License-Identifier: MIT
//
// Our streams read by an archiver that shares nothing with this codec: it decodes them inside disk images.
#include <openssl/evp.h>

#include "Codec/GeneratedContent.h"
#include "Codec/LzfseBlockBuilder.h"

namespace quillbrook::test {
namespace {

// A stream and the number of bytes that it holds: a multiple of a sector.
struct Chunk {
  std::size_t rawBytes;
  Bytes stream;
};

constexpr std::size_t sectorBytes = 512;

// A disk image of Apple's UDIF kind whose only content is the chunks: their streams, a property list that holds the
// table of chunks, and a trailer.
Bytes diskImage(const std::vector<Chunk>& chunks) {
  Bytes data;
  Bytes table;
  std::size_t sectors = 0;
  const auto addEntry = [&](std::uint32_t kind, std::size_t rawSectors, std::size_t bytes) {
    table = table + bigEndian(kind) + bigEndian(0);
    for (const std::size_t value : {sectors, rawSectors, data.size(), bytes}) table = table + bigEndian(value, 8);
  };
  for (const Chunk& chunk : chunks) {
    addEntry(0x8000'0007, chunk.rawBytes / sectorBytes, chunk.stream.size());  // LZFSE
    sectors += chunk.rawBytes / sectorBytes;
    data = data + chunk.stream;
  }
  addEntry(0xFFFF'FFFF, 0, 0);  // the end
  // Version 1; first sector, sectors, data offset; sectors of buffer; descriptor, reserved and no checksum.
  const Bytes blocks = bytesOf("mish") + bigEndian(1) + bigEndian(0, 8) + bigEndian(sectors, 8) + bigEndian(0, 8) +
                       bigEndian(0x808) + Bytes(4 + 24 + 8 + 128) + bigEndian(chunks.size() + 1) + table;
  Bytes base64(4 * blocks.size() / 3 + 5);
  base64.resize(
      static_cast<std::size_t>(EVP_EncodeBlock(base64.data(), blocks.data(), static_cast<int>(blocks.size()))));
  const Bytes list = bytesOf(
                         "<plist version=\"1.0\"><dict><key>resource-fork</key><dict><key>blkx</key><array><dict>"
                         "<key>Name</key><string>disk</string><key>Data</key><data>") +
                     base64 + bytesOf("</data></dict></array></dict></dict></plist>\n");
  // Version 4; flags; data fork, no resource fork; segment 1 of 1, its name and no checksum; where the list is.
  const Bytes trailer = bytesOf("koly") + bigEndian(4) + bigEndian(sectorBytes) + bigEndian(1) + Bytes(16) +
                        bigEndian(data.size(), 8) + Bytes(16) + bigEndian(1) + bigEndian(1) + Bytes(16 + 8 + 128) +
                        bigEndian(data.size(), 8) + bigEndian(list.size(), 8) + Bytes(120 + 8 + 128) + bigEndian(1) +
                        bigEndian(sectors, 8);
  return data + list + trailer + Bytes(sectorBytes - trailer.size());
}

Bytes outputOf(const std::string& command) {
  // NOLINTNEXTLINE(cert-env33-c): the commands are this file's own
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  Bytes output;
  Bytes buffer(65'536);
  for (std::size_t count = 1; count != 0; output = std::move(output) + prefix(buffer, count)) {
    count = std::fread(buffer.data(), 1, buffer.size(), pipe.get());
  }
  return output;
}

// What the archiver makes of the chunks.
Bytes extracted(const std::vector<Chunk>& chunks) {
  const auto path = std::filesystem::temp_directory_path() / ("streams-" + std::to_string(getpid()) + ".dmg");
  const Bytes image = diskImage(chunks);
  std::ofstream(path, std::ios::binary) << std::string(image.begin(), image.end());
  const Bytes content = outputOf("7zz e -so '" + path.string() + "' 2>/dev/null");
  std::filesystem::remove(path);
  return content;
}

TEST(Archiver, ReadsOurStreams) {
  if (outputOf("command -v 7zz").empty()) {
    GTEST_SKIP() << "7zz (Debian package 7zip) is missing: no independent reader to check our streams";
  }
  const Bytes farAway = randomBytes(262'144 - 512, 128);
  std::vector<Chunk> chunks;
  Bytes expected;
  for (const Bytes& content : {
           text(65'536),                // one LZFSE block
           Bytes(512),                  // LZVN
           periodic(3, 1'024),          // LZVN
           manyMatches(1'048'576),      // several blocks, by matches
           randomBytes(1'048'576, 16),  // several blocks, by literals
           Bytes(1'048'576),            // matches longer than one triple
           farAway + farAway,           // distances near the largest
       }) {
    chunks.push_back({content.size(), encoded(content)});
    expected = std::move(expected) + content;
  }
  EXPECT_TRUE(extracted(chunks) == expected);

  // Alone, as this archiver mistakes what follows a stored block.
  const Bytes stored = randomBytes(65'536);
  EXPECT_TRUE(extracted({{stored.size(), encoded(stored)}}) == stored);

  // Vouches for the builder that the decoder's tests rest on, but for the plain header, which this archiver does not
  // read.
  const auto block =
      LzfseBlockBuilder::of("abcxyz", {{3, 4, 3}, {1, 3, 0}, {2, 0, 1}, {0, 499, 0}}, 512).packed() + endMarker();
  EXPECT_TRUE(extracted({{512, block}}) == bytesOf("abcabcaxcaxy" + std::string(500, 'z')));
}

}  // namespace
}  // namespace quillbrook::test
