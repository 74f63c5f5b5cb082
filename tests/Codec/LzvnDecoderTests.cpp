// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Codec/GeneratedContent.h"
#include "Codec/GuardedBuffer.h"
#include "Codec/LzfseBlockBuilder.h"
#include "Codec/Lzvn.h"

namespace quillbrook {

namespace {

const ByteVector end{0x06, 0, 0, 0, 0, 0, 0, 0};

std::string decoded(const ByteVector& opcodes, std::size_t capacity) {
  const GuardedBuffer source(opcodes, GuardedBuffer::Against::end);
  const GuardedBuffer room(capacity, GuardedBuffer::Against::end);
  const std::size_t count = Lzvn::decode(room.bytes(), source.bytes());
  return {room.bytes().begin(), room.bytes().begin() + static_cast<std::ptrdiff_t>(count)};
}

std::string repeated(const std::string& text, std::size_t size) {
  std::string result;
  while (result.size() < size) result += text;
  return result.substr(0, size);
}

// "abcd", by the row for few literals.
const ByteVector abcd{0xE4, 'a', 'b', 'c', 'd'};

}  // namespace

TEST(LzvnDecoder, everyRow) {
  // Distance 4 by the first row, for rows that repeat it.
  const ByteVector known = abcd + ByteVector{0x00, 4};
  const std::string knownText = repeated("abcd", 7);
  const ByteVector longText = bytesOf(repeated("0123456789", 300));
  struct Row {
    std::string name;
    ByteVector opcodes;
    std::string expected;
  };
  const std::vector<Row> rows{
      {"near match, no literals, shortest", abcd + ByteVector{0x00, 4}, "abcdabc"},
      {"near match, no literals, longest", abcd + ByteVector{0x38, 4}, repeated("abcd", 14)},
      {"near match, three literals", abcd + ByteVector{0xC8, 7, 'x', 'y', 'z'}, "abcdxyzabcd"},
      {"near match, two literals, longest", abcd + ByteVector{0x98, 6, 'x', 'y'}, "abcdxyabcdxy"},
      {"near match, high bits of the distance",
       ByteVector{0xE0, 255} + ByteVector(longText.begin(), longText.begin() + 271) + ByteVector{0x09, 0x04},
       repeated("0123456789", 271) + "1234"},
      {"far match, no literals", abcd + ByteVector{0x07, 4, 0}, "abcdabc"},
      {"far match, one literal", abcd + ByteVector{0x6F, 5, 0, 'x'}, "abcdxabcdxabc"},
      {"previous distance, one literal", known + ByteVector{0x46, 'x'}, knownText + "xabc"},
      {"previous distance, three literals", known + ByteVector{0xCE, 'x', 'y', 'z'}, knownText + "xyzcxyz"},
      {"medium match, no literals, shortest", abcd + ByteVector{0xA0, 16, 0}, "abcdabc"},
      {"medium match, longest", abcd + ByteVector{0xA7, 19, 0}, repeated("abcd", 38)},
      {"medium match, three literals", abcd + ByteVector{0xB9, 29, 0, 'x', 'y', 'z'}, "abcdxyzabcdxyza"},
      {"few literals, most", ByteVector{0xEF} + bytesOf("0123456789abcde"), "0123456789abcde"},
      {"many literals, fewest", ByteVector{0xE0, 0} + bytesOf("0123456789abcdef"), "0123456789abcdef"},
      {"short repeat, one", known + ByteVector{0xF1}, knownText + "d"},
      {"short repeat, most", known + ByteVector{0xFF}, repeated("abcd", 22)},
      {"long repeat, fewest", known + ByteVector{0xF0, 0}, repeated("abcd", 23)},
      {"long repeat, most", known + ByteVector{0xF0, 255}, repeated("abcd", 278)},
      {"opcodes that do nothing", ByteVector{0x0E} + abcd + ByteVector{0x16, 0x0E}, "abcd"},
      {"nothing but the end", {}, ""},
  };
  for (const Row& row : rows) {
    // Once with room to spare, for the quick copies, and once without, for the careful ones.
    EXPECT_EQ(decoded(row.opcodes + end, row.expected.size()), row.expected) << row.name;
    EXPECT_EQ(decoded(row.opcodes + end + ByteVector(100), row.expected.size() + 400), row.expected) << row.name;
  }
}

TEST(LzvnDecoder, refusesWhatIsUndefined) {
  std::vector<unsigned> undefined{0x1E, 0x26, 0x2E, 0x36, 0x3E};
  for (unsigned low = 0; low < 16; ++low) {
    undefined.push_back(0x70 + low);
    undefined.push_back(0xD0 + low);
  }
  for (const unsigned opcode : undefined) {
    const ByteVector opcodes = abcd + ByteVector{0x00, 4, static_cast<std::uint8_t>(opcode)} + end;
    EXPECT_EQ(decoded(opcodes, 100), "") << opcode;
  }
}

TEST(LzvnDecoder, refusesDistancesThatReachTooFar) {
  const std::vector<ByteVector> bad{
      {0xF3},             // nothing before
      {0x46, 'x'},        // a literal, but no distance before
      {0xE1, 'x', 0, 0},  // distance 0
      {0xE1, 'x', 0, 2},  // one too far
      {0x48, 2, 'x'},     // the same with its literal in the opcode
      {0xE1, 'x', 7, 0, 1},
      {0xE1, 'x', 0xA0, 8, 0},
  };
  for (const ByteVector& opcodes : bad) {
    EXPECT_EQ(decoded(opcodes + end, 20), "") << testing::PrintToString(opcodes);
    EXPECT_EQ(decoded(opcodes + end + ByteVector(100), 400), "") << testing::PrintToString(opcodes);
  }
}

TEST(LzvnDecoder, givesWhatFitsAndWhatIsThere) {
  const ByteVector opcodes = abcd + ByteVector{0xCE - 0x06 + 0x00, 4, 'x', 'y', 'z', 0xF0, 40} + end;
  const std::string whole = decoded(opcodes, 200);
  ASSERT_EQ(whole.size(), 4U + 3 + 4 + 56);
  for (std::size_t capacity = 0; capacity <= whole.size(); ++capacity) {
    EXPECT_EQ(decoded(opcodes, capacity), whole.substr(0, capacity));
  }
  std::size_t before = 0;
  for (std::size_t size = 0; size < opcodes.size(); ++size) {
    const std::string part =
        decoded(ByteVector(opcodes.begin(), opcodes.begin() + static_cast<std::ptrdiff_t>(size)), 200);
    EXPECT_EQ(part, whole.substr(0, part.size()));
    EXPECT_GE(part.size(), before);
    before = part.size();
  }
  EXPECT_EQ(before, whole.size());
  // Full before the part that is malformed.
  EXPECT_EQ(decoded(abcd + ByteVector{0x70}, 4), "abcd");
}

}  // namespace quillbrook
