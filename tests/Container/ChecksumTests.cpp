// SPDX-License-Identifier: MIT

#include "Codec/GeneratedContent.h"
#include "Container/Checksum.h"

namespace quillbrook::test {
namespace {

TEST(Checksum, PublishedVectors) {
  Bytes ascending(32);
  std::ranges::generate(ascending, [value = std::uint8_t{0}]() mutable { return value++; });
  const std::vector<std::pair<Bytes, std::uint32_t>> cases{{{}, 0},
                                                           {bytesOf("123456789"), 0xE3069283},
                                                           {Bytes(32, 0x00), 0x8A9136AA},
                                                           {Bytes(32, 0xFF), 0x62A8AB43},
                                                           {ascending, 0x46DD794E}};
  for (const auto& [bytes, expected] : cases) {
    EXPECT_EQ(Checksum::crc32c(bytes), expected) << bytes.size();
    EXPECT_EQ(Checksum::crc32cFromTables(bytes), expected) << bytes.size();
  }
}

// Lanes, their joints, whole words and single bytes, at every alignment: two implementations that share no code.
TEST(Checksum, InstructionAgreesWithTables) {
  const auto bytes = randomBytes(65'536 + 9);
  for (const auto count : {1UZ, 7UZ, 8UZ, 255UZ, 767UZ, 768UZ, 769UZ, 12'287UZ, 12'288UZ, 13'056UZ, 65'536UZ}) {
    for (std::size_t start = 0; start < 9; ++start) {
      const auto part = std::span(bytes).subspan(start, count);
      EXPECT_EQ(Checksum::crc32c(part), Checksum::crc32cFromTables(part)) << count << " from " << start;
    }
  }
}

}  // namespace
}  // namespace quillbrook::test
