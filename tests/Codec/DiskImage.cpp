// SPDX-License-Identifier: MIT
#include "Codec/DiskImage.h"

#include <cstdint>
#include <string>

namespace quillbrook::DiskImage {

namespace {

constexpr std::size_t sectorBytes = 512;
constexpr std::uint32_t lzfseChunk = 0x8000'0007;
constexpr std::uint32_t lastChunk = 0xFFFF'FFFF;

void appendBig(ByteVector& bytes, std::uint64_t value, unsigned count) {
  for (unsigned i = count; i-- != 0;) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

void append32(ByteVector& bytes, std::uint64_t value) {
  appendBig(bytes, value, 4);
}
void append64(ByteVector& bytes, std::uint64_t value) {
  appendBig(bytes, value, 8);
}
void append(ByteVector& bytes, const ByteVector& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

std::string base64(const ByteVector& bytes) {
  constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 3; ++j) group = group << 8 | (i + j < bytes.size() ? bytes[i + j] : 0U);
    for (std::size_t j = 0; j < 4; ++j) {
      text += i + j > bytes.size() ? '=' : digits[group >> (18 - 6 * j) & 63];
    }
  }
  return text;
}

}  // namespace

ByteVector of(const std::vector<Chunk>& chunks) {
  ByteVector data;
  ByteVector table;
  std::uint64_t sectors = 0;
  for (const Chunk& chunk : chunks) {
    append32(table, lzfseChunk);
    append32(table, 0);
    append64(table, sectors);
    append64(table, chunk.rawBytes / sectorBytes);
    append64(table, data.size());
    append64(table, chunk.stream.size());
    sectors += chunk.rawBytes / sectorBytes;
    append(data, chunk.stream);
  }
  append32(table, lastChunk);
  append32(table, 0);
  append64(table, sectors);
  append64(table, 0);
  append64(table, data.size());
  append64(table, 0);

  ByteVector blocks = bytesOf("mish");
  append32(blocks, 1);  // version
  append64(blocks, 0);  // first sector
  append64(blocks, sectors);
  append64(blocks, 0);                          // data offset
  append32(blocks, 0x808);                      // sectors of buffer
  append32(blocks, 0);                          // descriptor
  blocks.resize(blocks.size() + 24 + 8 + 128);  // reserved; checksum: none
  append32(blocks, chunks.size() + 1);
  append(blocks, table);

  const ByteVector list = bytesOf(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict><key>resource-fork</key><dict>"
      "<key>blkx</key><array><dict><key>Attributes</key><string>0x0050</string><key>CFName</key><string>disk</string>"
      "<key>Data</key><data>" +
      base64(blocks) +
      "</data><key>ID</key><string>0</string><key>Name</key><string>disk</string></dict></array></dict></dict>"
      "</plist>\n");

  ByteVector trailer = bytesOf("koly");
  append32(trailer, 4);  // version
  append32(trailer, sectorBytes);
  append32(trailer, 1);  // flags
  append64(trailer, 0);
  append64(trailer, 0);  // data fork
  append64(trailer, data.size());
  append64(trailer, 0);  // resource fork
  append64(trailer, 0);
  append32(trailer, 1);  // segment 1 of 1
  append32(trailer, 1);
  trailer.resize(trailer.size() + 16 + 8 + 128);  // segment's name; checksum: none
  append64(trailer, data.size());                 // where the list is
  append64(trailer, list.size());
  trailer.resize(trailer.size() + 120 + 8 + 128);  // reserved; checksum: none
  append32(trailer, 1);                            // kind of image
  append64(trailer, sectors);
  trailer.resize(sectorBytes);

  ByteVector image = data;
  append(image, list);
  append(image, trailer);
  return image;
}

}  // namespace quillbrook::DiskImage
