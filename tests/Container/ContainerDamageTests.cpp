// SPDX-License-Identifier: MIT
#include "BuiltContainer.h"
#include "Container/ContainerCheck.h"

namespace quillbrook::test {
namespace {

void flip(Bytes& bytes, std::size_t bit) {
  bytes[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
}

// After one flipped bit: an error or the right bytes, and the check always notices.
TEST(ContainerDamage, EveryBitOfSmallContainers) {
  const auto text400 = text(400);
  // The second block is short and both are of one value, so that the container is small.
  const auto twoBlocks = Bytes(65'536, 'a') + Bytes(200, 'b');
  for (const auto& [content, built] : {std::pair{text400, build(CompressionType::lzfseAttr, 400, encoded(text400))},
                                       std::pair{twoBlocks, buildLzfseFork(twoBlocks)}}) {
    MemorySource source(built.data);
    ASSERT_FALSE(ContainerCheck::check(source, built.data.size(), built.state));
    for (std::size_t bit = 0; bit < built.data.size() * 8; ++bit) {
      flip(source.bytes, bit);
      const auto read = contentOf(source, built.state);
      EXPECT_TRUE(read ? *read == content : read.error() == ErrorNumber::inputOutput) << "bit " << bit;
      EXPECT_TRUE(ContainerCheck::check(source, source.bytes.size(), built.state)) << "unnoticed: bit " << bit;
      flip(source.bytes, bit);
    }
  }
}

TEST(ContainerDamage, TenThousandBitsOfALargeContainer) {
  const auto blocks = blocksOf(text(16 * 65'536 + 77));
  const auto built = buildLzfseFork(text(16 * 65'536 + 77));
  const auto payload = built.state.payloadByteCount();
  std::vector<std::size_t> chunks;  // where each block's begins, behind header and table
  chunks.reserve(blocks.size());
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    chunks.push_back(16 + LittleEndian::load<std::uint32_t>(&built.data[16 + 4 * i]));
  }
  MemorySource source(built.data);
  auto random = generator(20'260'101);
  ContainerReader::Scratch scratch;
  Bytes piece(65'536);
  for (int i = 0; i < 10'000; ++i) {
    const auto bit = random() % (built.data.size() * 8);
    SCOPED_TRACE(bit);
    flip(source.bytes, bit);
    // Which byte of the payload cannot be trusted now: itself, or, of a checksum, those of its span. Behind the
    // payload: none, it was the trailer.
    const auto damaged = bit / 8 < payload ? bit / 8 : (bit / 8 - payload) / 4 * 65'536;
    const auto reader = ContainerReader::open(source, built.state);
    ASSERT_EQ(reader.has_value(), damaged >= 65'536) << "the first span holds header and table";
    if (reader && damaged < payload) {
      const auto block = static_cast<std::size_t>(std::ranges::upper_bound(chunks, damaged) - chunks.begin() - 1);
      ASSERT_EQ((*reader)->read(block * 65'536, piece, scratch), std::unexpected(ErrorNumber::inputOutput));
    }
    // What takes longer: a few hundred of them.
    for (std::size_t block = 0; reader && i % 40 == 0 && block < blocks.size(); ++block) {
      const auto got = (*reader)->read(block * 65'536, piece, scratch);
      ASSERT_TRUE(!got || prefix(piece, *got) == blocks[block]) << "wrong bytes";
      ASSERT_TRUE(got || damaged < payload);
    }
    ASSERT_TRUE(i % 40 != 0 || ContainerCheck::check(source, built.data.size(), built.state)) << "unnoticed";
    flip(source.bytes, bit);
  }
}

TEST(ContainerDamage, CutShortAtEveryLength) {
  const auto content = text(700);
  const auto built = build(CompressionType::lzfseAttr, content.size(), encoded(content));
  for (std::size_t count = 0; count < built.data.size(); ++count) {
    const MemorySource source(prefix(built.data, count));
    const auto read = contentOf(source, built.state);
    EXPECT_EQ(read.value_or(content), content) << count;
    // Only the trailer may be missing for the content to be proved whole.
    EXPECT_EQ(read.has_value(), count >= built.data.size() - ContainerState::byteCount) << count;
    EXPECT_EQ(ContainerCheck::check(source, count, built.state),
              ContainerDamage(ContainerCutShort{.expected = built.data.size(), .got = count}));
  }
}

TEST(ContainerCheck, SaysWhatIsWrong) {
  using enum CompressionType;
  const auto good = buildLzfseFork(text(5 * 65'536));
  const auto afterFlip = [&good](std::size_t byte) {
    auto damaged = good;
    damaged.data[byte] ^= 0x10;
    return damaged;
  };
  const std::vector<std::tuple<std::string, BuiltContainer, std::optional<ContainerDamage>>> cases{
      {"sound and a tebibyte of zeros", build(datalessSparse, std::uint64_t{1} << 40, {}), std::nullopt},
      {"second span", afterFlip(65'536), SpanDamaged{1}},
      {"a checksum", afterFlip(good.state.payloadByteCount()), SpanDamaged{0}},
      {"trailer", afterFlip(good.data.size() - 1), TrailerDiffers{}},
      {"appended", BuiltContainer{good.data + Bytes(9, 'x'), good.state}, SurplusBytes{9}},
      {"bad stream under good checksums",
       build(lzfseRsrc, 65'536 + 5, {}, forkOf({encoded(text(65'536)), Bytes(30, 'x')})), BlockUndecodable{1}},
      {"bad table under good checksums", build(lzfseRsrc, 65'536, {}, Bytes(7, 0)), StructureInvalid{}},
      {"no decoder", build(lzbitmapAttr, 5, text(5)), TypeNotSupported{13}},
  };
  for (const auto& [name, container, expected] : cases) {
    const auto found = ContainerCheck::check(MemorySource(container.data), container.data.size(), container.state);
    EXPECT_EQ(found, expected) << name << ": " << (found ? describe(*found) : "nothing");
  }
  const std::stop_source stop;
  stop.request_stop();
  EXPECT_EQ(ContainerCheck::check(MemorySource(good.data), good.data.size(), good.state, stop.get_token()),
            ContainerDamage(ContainerUnreadable{ErrorNumber::cancelled}));
  EXPECT_EQ(describe(ContainerCutShort{.expected = 9, .got = 5}), "cutShort(expected: 9, got: 5)");
}

}  // namespace
}  // namespace quillbrook::test
