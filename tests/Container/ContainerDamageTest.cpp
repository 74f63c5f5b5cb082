// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "BuiltContainer.h"
#include "Container/ContainerCheck.h"

namespace quillbrook::test {
namespace {

void flip(std::span<std::uint8_t> bytes, std::size_t bit) {
  bytes[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
}

// After one flipped bit: an error or the right bytes, and the check always notices.
void expectGuarded(MemorySource& source, const BuiltContainer& built, const Bytes& content, std::size_t bit) {
  flip(source.bytes, bit);
  const auto read = contentOf(source, built.state);
  if (read) {
    EXPECT_EQ(*read, content) << "wrong bytes after bit " << bit;
  } else {
    EXPECT_EQ(read.error(), ErrorNumber::inputOutput) << "bit " << bit;
  }
  EXPECT_TRUE(ContainerCheck::check(source, source.bytes.size(), built.state)) << "unnoticed: bit " << bit;
  flip(source.bytes, bit);
}

TEST(ContainerDamage, EveryBitOfAnInlineContainer) {
  const auto content = prose(400);
  const auto built = build(CompressionType::lzfseAttr, content.size(), lzfse(content));
  MemorySource source(built.data);
  ASSERT_FALSE(ContainerCheck::check(source, built.data.size(), built.state));
  for (std::size_t bit = 0; bit < built.data.size() * 8; ++bit) expectGuarded(source, built, content, bit);
}

// The second block is short, so that the container is small: every one of its bits gets its turn.
TEST(ContainerDamage, EveryBitOfATwoBlockContainer) {
  auto content = Bytes(65'536, 'a');
  content.resize(65'536 + 200, 'b');
  const auto built = buildLzfseFork(content);
  MemorySource source(built.data);
  ASSERT_FALSE(ContainerCheck::check(source, built.data.size(), built.state));
  for (std::size_t bit = 0; bit < built.data.size() * 8; ++bit) expectGuarded(source, built, content, bit);
}

TEST(ContainerDamage, TenThousandBitsOfALargeContainer) {
  const auto content = prose(16 * 65'536 + 77);
  const auto built = buildLzfseFork(content);
  MemorySource source(built.data);
  std::mt19937 random(20'260'101);
  ContainerReader::Scratch scratch;
  Bytes piece(65'536);
  std::size_t refused = 0;
  for (int i = 0; i < 10'000; ++i) {
    const auto bit = random() % (built.data.size() * 8);
    flip(source.bytes, bit);
    if (const auto reader = ContainerReader::open(source, built.state)) {
      // The blocks around the damage; the others have nothing to do with its span.
      const auto around = static_cast<std::uint64_t>(bit / 8) * content.size() / built.data.size() / 65'536;
      for (auto block = around < 3 ? 0 : around - 3; block <= around + 3; ++block) {
        const auto got = (*reader)->read(block * 65'536, piece, scratch);
        if (!got) ++refused;
        if (!got || *got == 0) continue;
        ASSERT_TRUE(std::ranges::equal(std::span(piece).first(*got), std::span(content).subspan(block * 65'536, *got)))
            << "wrong bytes after bit " << bit;
      }
    } else {
      ++refused;
    }
    flip(source.bytes, bit);
  }
  EXPECT_GT(refused, 10'000U);
}

TEST(ContainerDamage, CutShortAtEveryLength) {
  const auto content = prose(700);
  const auto built = build(CompressionType::lzfseAttr, content.size(), lzfse(content));
  for (std::size_t count = 0; count < built.data.size(); ++count) {
    const MemorySource source(Bytes(built.data.begin(), built.data.begin() + static_cast<std::ptrdiff_t>(count)));
    const auto read = contentOf(source, built.state);
    EXPECT_EQ(read.value_or(content), content) << count;
    // Only the trailer may be missing for the content to be proved whole.
    EXPECT_EQ(read.has_value(), count >= built.data.size() - ContainerState::byteCount) << count;
    EXPECT_EQ(ContainerCheck::check(source, count, built.state),
              ContainerDamage(ContainerCutShort{.expected = built.data.size(), .got = count}));
  }
}

TEST(ContainerCheck, SaysWhatIsWrong) {
  const auto content = prose(5 * 65'536);
  const auto good = buildLzfseFork(content);
  const auto afterFlip = [&good](std::size_t byte) {
    auto damaged = good;
    damaged.data[byte] ^= 0x10;
    return damaged;
  };
  auto appended = good;
  appended.data.resize(good.data.size() + 9, 'x');
  auto undecodable = build(CompressionType::lzfseRsrc, 65'536 + 5, {}, forkOf({lzfse(prose(65'536)), Bytes(30, 'x')}));
  auto shortTable = build(CompressionType::lzfseRsrc, 65'536, {}, Bytes(7, 0));
  auto sparse = build(CompressionType::datalessSparse, std::uint64_t{1} << 40, {});
  const struct {
    std::string name;
    BuiltContainer container;
    std::optional<ContainerDamage> expected;
  } cases[] = {
      {"sound", good, std::nullopt},
      {"sound and a tebibyte of zeros", sparse, std::nullopt},
      {"second span", afterFlip(65'536), SpanDamaged{1}},
      {"a checksum", afterFlip(good.state.payloadByteCount()), SpanDamaged{0}},
      {"trailer", afterFlip(good.data.size() - 1), TrailerDiffers{}},
      {"appended", appended, SurplusBytes{9}},
      {"bad stream under good checksums", undecodable, BlockUndecodable{1}},
      {"bad table under good checksums", shortTable, StructureInvalid{}},
      {"no decoder", build(CompressionType::lzbitmapAttr, 5, prose(5)), TypeNotSupported{13}},
  };
  for (const auto& c : cases) {
    const auto found =
        ContainerCheck::check(MemorySource(c.container.data), c.container.data.size(), c.container.state);
    EXPECT_EQ(found, c.expected) << c.name << ": " << (found ? describe(*found) : "nothing");
  }
  std::stop_source stop;
  stop.request_stop();
  EXPECT_EQ(ContainerCheck::check(MemorySource(good.data), good.data.size(), good.state, stop.get_token()),
            ContainerDamage(ContainerUnreadable{ErrorNumber::cancelled}));
  EXPECT_EQ(describe(ContainerCutShort{.expected = 9, .got = 5}), "cutShort(expected: 9, got: 5)");
}

}  // namespace
}  // namespace quillbrook::test
