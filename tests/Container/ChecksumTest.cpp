// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <numeric>
#include <string_view>

#include "BuiltContainer.h"
#include "Container/Checksum.h"

namespace quillbrook::test {
namespace {

TEST(Checksum, PublishedVectors) {
  Bytes ascending(32);
  std::iota(ascending.begin(), ascending.end(), std::uint8_t{0});
  const struct {
    Bytes bytes;
    std::uint32_t expected;
  } cases[] = {
      {{}, 0},
      {bytesOf("123456789"), 0xE3069283},
      {Bytes(32, 0x00), 0x8A9136AA},
      {Bytes(32, 0xFF), 0x62A8AB43},
      {ascending, 0x46DD794E},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Checksum::crc32c(c.bytes), c.expected) << c.bytes.size();
    EXPECT_EQ(Checksum::crc32cFromTables(c.bytes), c.expected) << c.bytes.size();
  }
}

// Lanes, their joints, whole words and single bytes, at every alignment: two implementations that share no code.
TEST(Checksum, InstructionAgreesWithTables) {
  const auto bytes = prose(3 * 4096 * 5 + 4096 + 3 * 256 + 40, 3);
  constexpr std::size_t counts[] = {1, 7, 8, 255, 767, 768, 769, 1535, 4096, 12'287, 12'288, 12'289, 13'056, 65'536};
  for (const auto count : counts) {
    for (std::size_t start = 0; start < 9; ++start) {
      const auto part = std::span(bytes).subspan(start, std::min(count, bytes.size() - start));
      EXPECT_EQ(Checksum::crc32c(part), Checksum::crc32cFromTables(part)) << count << " from " << start;
    }
  }
}

}  // namespace
}  // namespace quillbrook::test
