// SPDX-License-Identifier: MIT

#include "Codec/Lzvn.h"
#include "Codec/Streams.h"
#include "Support/Prelude.h"

namespace quillbrook::test {
namespace {

Bytes end() {
  return {0x06, 0, 0, 0, 0, 0, 0, 0};
}

// "abcd", by the row for few literals.
Bytes abcd() {
  return {0xE4, 'a', 'b', 'c', 'd'};
}

std::string opcodesDecoded(const Bytes& opcodes, std::size_t capacity) {
  const Bytes source(opcodes.begin(), opcodes.end());
  Bytes room(capacity);
  room.resize(Lzvn::decode(room, source));
  return {room.begin(), room.end()};
}

// Once with barely the room, for the careful copies, and once with room and input to spare, for the quick ones.
void expectDecoded(const Bytes& opcodes, const std::string& expected, std::size_t room) {
  EXPECT_EQ(opcodesDecoded(opcodes + end(), room), expected);
  EXPECT_EQ(opcodesDecoded(opcodes + end() + Bytes(100), room + 400), expected);
}

std::string repeated(const std::string& text, std::size_t size) {
  std::string result;
  while (result.size() < size) result += text;
  return result.substr(0, size);
}

TEST(LzvnDecoder, EveryRow) {
  // Distance 4 by the first row, for rows that repeat it.
  const Bytes known = abcd() + Bytes{0x00, 4};
  const std::string digits = repeated("0123456789", 271);
  const std::vector<std::tuple<std::string, Bytes, std::string>> rows{
      {"near match, no literals, shortest", abcd() + Bytes{0x00, 4}, "abcdabc"},
      {"near match, no literals, longest", abcd() + Bytes{0x38, 4}, repeated("abcd", 14)},
      {"near match, three literals", abcd() + Bytes{0xC8, 7, 'x', 'y', 'z'}, "abcdxyzabcd"},
      {"near match, high bits of the distance, many literals", Bytes{0xE0, 255} + bytesOf(digits) + Bytes{0x09, 0x04},
       digits + "1234"},
      {"far match, no literals", abcd() + Bytes{0x07, 4, 0}, "abcdabc"},
      {"far match, one literal", abcd() + Bytes{0x6F, 5, 0, 'x'}, "abcdxabcdxabc"},
      {"previous distance, one literal", known + Bytes{0x46, 'x'}, "abcdabcxabc"},
      {"previous distance, three literals", known + Bytes{0xCE, 'x', 'y', 'z'}, "abcdabcxyzcxyz"},
      {"medium match, no literals, shortest", abcd() + Bytes{0xA0, 16, 0}, "abcdabc"},
      {"medium match, longest", abcd() + Bytes{0xA7, 19, 0}, repeated("abcd", 38)},
      {"medium match, three literals", abcd() + Bytes{0xB9, 29, 0, 'x', 'y', 'z'}, "abcdxyzabcdxyza"},
      {"few literals, most", Bytes{0xEF} + bytesOf("0123456789abcde"), "0123456789abcde"},
      {"many literals, fewest", Bytes{0xE0, 0} + bytesOf("0123456789abcdef"), "0123456789abcdef"},
      {"short repeat, one", known + Bytes{0xF1}, "abcdabcd"},
      {"short repeat, most", known + Bytes{0xFF}, repeated("abcd", 22)},
      {"long repeat, fewest", known + Bytes{0xF0, 0}, repeated("abcd", 23)},
      {"long repeat, most", known + Bytes{0xF0, 255}, repeated("abcd", 278)},
      {"opcodes that do nothing", Bytes{0x0E} + abcd() + Bytes{0x16, 0x0E}, "abcd"},
  };
  for (const auto& [name, opcodes, expected] : rows) {
    SCOPED_TRACE(name);
    expectDecoded(opcodes, expected, expected.size());
  }
}

TEST(LzvnDecoder, RefusesWhatIsUndefinedOrReachesTooFar) {
  std::vector<Bytes> bad{
      {0xF3},                   // nothing before
      {0x46, 'x'},              // a literal, but no distance before
      {0xE1, 'x', 0, 0},        // distance 0
      {0xE1, 'x', 0, 2},        // one too far
      {0x48, 2, 'x'},           // the same with its literal in the opcode
      {0xE1, 'x', 7, 0, 1},     // far
      {0xE1, 'x', 0xA0, 8, 0},  // medium
  };
  Bytes undefined{0x1E, 0x26, 0x2E, 0x36, 0x3E};
  for (std::uint8_t low = 0; low < 16; ++low)
    undefined.insert(undefined.end(), {static_cast<std::uint8_t>(0x70 | low), static_cast<std::uint8_t>(0xD0 | low)});
  for (const std::uint8_t opcode : undefined) bad.push_back(abcd() + Bytes{0x00, 4, opcode});
  for (const Bytes& opcodes : bad) {
    SCOPED_TRACE(testing::PrintToString(opcodes));
    expectDecoded(opcodes, "", 20);
  }
}

TEST(LzvnDecoder, GivesWhatFitsAndWhatIsThere) {
  const Bytes opcodes = abcd() + Bytes{0xC8, 4, 'x', 'y', 'z', 0xF0, 40};
  const std::string whole = "abcdxyz" + repeated("dxyz", 4 + 56);
  for (std::size_t capacity = 0; capacity <= whole.size() + 9; ++capacity) {
    EXPECT_EQ(opcodesDecoded(opcodes, capacity), whole.substr(0, capacity)) << "no end opcode";
  }
  EXPECT_EQ(opcodesDecoded(abcd() + Bytes{0x70}, 4), "abcd") << "full before the part that is malformed";
}

}  // namespace
}  // namespace quillbrook::test
