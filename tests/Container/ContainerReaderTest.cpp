// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <zlib.h>

#include <functional>
#include <thread>

#include "BuiltContainer.h"
#include "Container/ContainerReader.h"

namespace quillbrook::test {
namespace {

// Built by hand, so that no encoder of ours has a say.
Bytes lzvnLiterals(const Bytes& content) {
  Bytes opcodes;
  for (std::size_t at = 0; at < content.size();) {
    const auto count = std::min<std::size_t>(content.size() - at, 271);
    if (count >= 16) {
      opcodes.insert(opcodes.end(), {0xE0, static_cast<std::uint8_t>(count - 16)});
    } else {
      opcodes.push_back(static_cast<std::uint8_t>(0xE0 | count));
    }
    opcodes.insert(opcodes.end(), content.begin() + static_cast<std::ptrdiff_t>(at),
                   content.begin() + static_cast<std::ptrdiff_t>(at + count));
    at += count;
  }
  return joined({opcodes, Bytes{0x06, 0, 0, 0, 0, 0, 0, 0}});
}

Bytes lzfseStored(const Bytes& content) {
  return joined({bytesOf("bvx-"), littleEndian(static_cast<std::uint32_t>(content.size())), content, bytesOf("bvx$")});
}

Bytes zlibStream(const Bytes& content) {
  Bytes stream(compressBound(static_cast<uLong>(content.size())));
  auto count = static_cast<uLongf>(stream.size());
  EXPECT_EQ(compress2(stream.data(), &count, content.data(), static_cast<uLong>(content.size()), 6), Z_OK);
  stream.resize(count);
  return stream;
}

Bytes behind(std::uint8_t marker, const Bytes& content) {
  return joined({Bytes{marker}, content});
}

// The chunks of a fork, every other block stored where the type knows that.
std::vector<Bytes> chunks(const Bytes& content, const std::function<Bytes(const Bytes&)>& encode, int storedMarker) {
  std::vector<Bytes> all;
  for (const auto& block : blocksOf(content)) {
    const bool isStored = storedMarker >= 0 && all.size() % 2 == 1;
    all.push_back(isStored ? behind(static_cast<std::uint8_t>(storedMarker), block) : encode(block));
  }
  return all;
}

Bytes resourceMap(const std::vector<Bytes>& blocks) {
  Bytes table = littleEndian(static_cast<std::uint32_t>(blocks.size()));
  Bytes content;
  const auto tableByteCount = 4 + blocks.size() * 8;
  for (const auto& block : blocks) {
    table = joined({table, littleEndian(static_cast<std::uint32_t>(tableByteCount + content.size())),
                    littleEndian(static_cast<std::uint32_t>(block.size()))});
    content = joined({content, block});
  }
  const auto dataByteCount = static_cast<std::uint32_t>(table.size() + content.size());
  return joined({bigEndian(0x100), bigEndian(0x104 + dataByteCount), bigEndian(dataByteCount + 4), bigEndian(50),
                 Bytes(0x100 - 16, 0), bigEndian(dataByteCount), table, content, Bytes(50, 0)});
}

struct Golden {
  std::string name;
  BuiltContainer container;
  Bytes content;
};

std::vector<Golden> goldenContainers() {
  using enum CompressionType;
  const auto small = prose(900);
  const auto large = prose(3 * 65'536 + 1234);
  return {
      {"uncompressedAttr", build(uncompressedAttr, small.size(), small), small},
      {"uncompressedAttr with surplus", build(uncompressedAttr, 899, small), Bytes(small.begin(), small.end() - 1)},
      {"zlibAttr", build(zlibAttr, small.size(), zlibStream(small)), small},
      {"zlibAttr stored", build(zlibAttr, small.size(), behind(0xFF, small)), small},
      {"zlibAttr stored, another marker", build(zlibAttr, small.size(), behind(0x2F, small)), small},
      {"zlibRsrc", build(zlibRsrc, large.size(), {}, resourceMap(chunks(large, zlibStream, 0xFF))), large},
      {"datalessSparse", build(datalessSparse, 200'000, {}), Bytes(200'000, 0)},
      {"lzvnAttr", build(lzvnAttr, small.size(), lzvnLiterals(small)), small},
      {"lzvnAttr stored", build(lzvnAttr, small.size(), behind(0x06, small)), small},
      {"lzvnRsrc", build(lzvnRsrc, large.size(), {}, forkOf(chunks(large, lzvnLiterals, 0x06))), large},
      {"uncompressedAttrV2", build(uncompressedAttrV2, small.size(), behind(0xFF, small)), small},
      {"uncompressedRsrcV2",
       build(uncompressedRsrcV2, large.size(), {},
             forkOf(chunks(
                 large, [](const Bytes& b) { return behind(0xFF, b); }, 0x00))),
       large},
      {"lzfseAttr", build(lzfseAttr, small.size(), lzfseStored(small)), small},
      {"lzfseAttr of ours", build(lzfseAttr, small.size(), lzfse(small)), small},
      {"lzfseAttr, empty", build(lzfseAttr, 0, bytesOf("whatever")), {}},
      {"lzfseRsrc", build(lzfseRsrc, large.size(), {}, forkOf(chunks(large, lzfseStored, -1))), large},
      {"lzfseRsrc, empty", build(lzfseRsrc, 0, {}, forkOf({})), {}},
      {"lzfseRsrc of ours", buildLzfseFork(large), large},
  };
}

TEST(ContainerReader, ReadsEveryReadableType) {
  for (const auto& golden : goldenContainers()) {
    const auto content = contentOf(golden.container);
    ASSERT_TRUE(content) << golden.name << ": " << content.error().text();
    EXPECT_EQ(*content, golden.content) << golden.name;
  }
}

TEST(ContainerReader, RandomAccessIsThePartOfTheWhole) {
  ContainerReader::Scratch scratch;  // one for all of them, as a thread of the daemon has
  std::mt19937 random(11);
  for (const auto& golden : goldenContainers()) {
    const MemorySource source(golden.container.data);
    const auto reader = ContainerReader::open(source, golden.container.state);
    ASSERT_TRUE(reader) << golden.name;
    const auto size = golden.content.size();
    for (int round = 0; round < 60; ++round) {
      const auto offset = random() % (size + 10);
      Bytes piece(random() % (round % 2 == 0 ? 5000 : 200'000));
      const auto got = (*reader)->read(offset, piece, scratch);
      ASSERT_TRUE(got) << golden.name;
      ASSERT_EQ(*got, offset >= size ? 0 : std::min(piece.size(), size - offset)) << golden.name << " at " << offset;
      piece.resize(*got);
      ASSERT_TRUE(std::ranges::equal(piece, std::span(golden.content).subspan(std::min(offset, size), *got)))
          << golden.name << " at " << offset;
    }
  }
}

// What a read does not need it does not fetch: counted, since that is the promise.
TEST(ContainerReader, TouchesOnlyTheSpansOfTheBlock) {
  class CountingSource : public MemorySource {
   public:
    using MemorySource::MemorySource;
    Result<std::size_t> read(std::uint64_t offset, std::span<std::uint8_t> destination) const override {
      fetched += destination.size();
      return MemorySource::read(offset, destination);
    }
    mutable std::size_t fetched = 0;
  };
  const auto content = prose(60 * 65'536);
  const auto built = buildLzfseFork(content);
  ASSERT_GT(built.data.size(), 6 * 65'536U);
  const CountingSource source(built.data);
  const auto reader = ContainerReader::open(source, built.state);
  ASSERT_TRUE(reader);
  ContainerReader::Scratch scratch;
  Bytes piece(4096);
  for (const auto block : {50U, 3U, 31U}) {
    source.fetched = 0;
    ASSERT_TRUE((*reader)->read(std::uint64_t{block} * 65'536 + 100, piece, scratch));
    EXPECT_LE(source.fetched, 2 * 65'536U);
    source.fetched = 0;
    ASSERT_TRUE((*reader)->read(std::uint64_t{block} * 65'536 + 9000, piece, scratch));
    EXPECT_EQ(source.fetched, 0U) << "the last block is remembered";
  }
}

TEST(ContainerReader, ThreadsReadAtOnce) {
  const auto content = prose(10 * 65'536 + 5);
  const auto built = buildLzfseFork(content);
  const MemorySource source(built.data);
  const auto reader = ContainerReader::open(source, built.state);
  ASSERT_TRUE(reader);
  std::atomic<int> matches = 0;
  {
    std::vector<std::jthread> threads;
    for (unsigned seed = 0; seed < 4; ++seed) {
      threads.emplace_back([&, seed] {
        std::mt19937 random(seed);
        ContainerReader::Scratch scratch;
        for (int round = 0; round < 20; ++round) {
          const auto offset = random() % content.size();
          Bytes piece(std::min<std::size_t>(70'000, content.size() - offset));
          const auto got = (*reader)->read(offset, piece, scratch);
          matches += got && *got == piece.size() && std::ranges::equal(piece, std::span(content).subspan(offset, *got));
        }
      });
    }
  }
  EXPECT_EQ(matches, 80);
}

TEST(ContainerReader, RefusesWhatContradictsItself) {
  using enum CompressionType;
  const auto content = prose(65'536 + 100);
  const auto good = forkOf(chunks(content, lzfseStored, -1));
  const auto withEntry = [&good](std::size_t index, std::uint32_t value) {
    auto fork = good;
    LittleEndian::store(fork.data() + index * 4, value);
    return build(lzfseRsrc, 65'536 + 100, {}, fork);
  };
  const auto size = static_cast<std::uint32_t>(good.size());
  auto otherSize = build(lzfseAttr, 100, lzfseStored(prose(100)));
  otherSize.state.logicalByteCount = 99;
  auto otherHead = build(lzfseAttr, 100, lzfseStored(prose(100)));
  otherHead.state.head[4] = 12;
  auto notSealed = build(lzfseAttr, 100, lzfseStored(prose(100)));
  notSealed.state.st_flags = 0;
  auto redo = build(lzfseAttr, 100, lzfseStored(prose(100)));
  redo.state.redoIdentifier = 5;
  const auto map = [](std::uint32_t dataOffset) {
    auto fork = resourceMap({zlibStream(prose(100))});
    std::ranges::copy(bigEndian(dataOffset), fork.begin());
    return build(zlibRsrc, 100, {}, fork);
  };
  const struct {
    std::string name;
    BuiltContainer container;
    ErrorNumber expected;
  } cases[] = {
      {"first offset", withEntry(0, 16), ErrorNumber::inputOutput},
      {"offset backward", withEntry(1, 8), ErrorNumber::inputOutput},
      {"empty chunk", withEntry(1, 12), ErrorNumber::inputOutput},
      {"chunk out of all proportion", withEntry(1, 12 + 140'000), ErrorNumber::inputOutput},
      {"last offset behind the fork", withEntry(2, size + 1), ErrorNumber::inputOutput},
      {"chunk too short for its block", withEntry(1, 5000), ErrorNumber::inputOutput},
      {"fork shorter than its table", build(lzfseRsrc, 3 * 65'536, {}, Bytes(15, 0)), ErrorNumber::inputOutput},
      {"size asks for a table beyond reason", build(lzfseRsrc, std::uint64_t{1} << 62, {}, good),
       ErrorNumber::inputOutput},
      {"map outside the fork", map(0xFFFFFFFF), ErrorNumber::inputOutput},
      {"map in its own header", map(3), ErrorNumber::inputOutput},
      {"state and header disagree on the size", otherSize, ErrorNumber::inputOutput},
      {"state and data disagree on the head", otherHead, ErrorNumber::inputOutput},
      {"not sealed", notSealed, ErrorNumber::inputOutput},
      {"content is a redo copy", redo, ErrorNumber::inputOutput},
      {"stored bytes missing", build(uncompressedAttr, 10, prose(9)), ErrorNumber::inputOutput},
      {"marker missing", build(uncompressedAttrV2, 9, prose(10)), ErrorNumber::inputOutput},
      {"no payload", build(lzfseAttr, 10, {}), ErrorNumber::inputOutput},
      {"inline size beyond reason", build(lzvnAttr, std::uint64_t{1} << 40, prose(10)), ErrorNumber::inputOutput},
      {"zlib garbage", build(zlibAttr, 10, bytesOf("x not zlib")), ErrorNumber::inputOutput},
      {"negative as a file size", build(datalessSparse, std::uint64_t{1} << 63, {}), ErrorNumber::inputOutput},
      {"uncompressedRsrc", build(uncompressedRsrc, 5, {}, prose(5)), ErrorNumber::notSupported},
      {"lzbitmapAttr", build(lzbitmapAttr, 5, prose(5)), ErrorNumber::notSupported},
      {"lzbitmapRsrc", build(lzbitmapRsrc, 5, {}, prose(5)), ErrorNumber::notSupported},
      {"unknown type", build(static_cast<CompressionType>(2), 5, prose(5)), ErrorNumber::notSupported},
  };
  for (const auto& c : cases) {
    const auto content2 = contentOf(c.container);
    ASSERT_FALSE(content2) << c.name;
    EXPECT_EQ(content2.error(), c.expected) << c.name << ": " << content2.error().text();
  }
}

}  // namespace
}  // namespace quillbrook::test
