// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "BuiltContainer.h"
#include "Container/ContainerState.h"

namespace quillbrook::test {
namespace {

ContainerState fullState() {
  ContainerState state;
  state.st_flags = UF_COMPRESSED | UF_NODUMP;
  state.valueByteCount = 16;
  state.forkByteCount = 0xFFFFFFFF;
  state.logicalByteCount = 0x7FFFFFFF;
  state.creationTime = Timestamp{.seconds = 1'700'000'000, .nanoseconds = 123'456'789};
  state.head = DecmpfsHeader::encode(CompressionType::lzfseRsrc, 0x7FFFFFFF);
  state.redoIdentifier = 0x01020304;
  return state;
}

TEST(ContainerState, IsTheseBytes) {
  const auto bytes = fullState().encode();
  const Bytes expected{
      'Q',  'B',  1,    1,                             // magic, version, bits
      0x21, 0,    0,    0,                             // flags
      16,   0,    0,    0,    0xFF, 0xFF, 0xFF, 0xFF,  // value, fork
      0xFF, 0xFF, 0xFF, 0x7F, 0,    0,    0,    0,     // logical size
      0x15, 0xCD, 0x85, 0x3D, 0xFE, 0x9C, 0x97, 0x17,  // 1,700,000,000,123,456,789 ns
      0x66, 0x70, 0x6D, 0x63, 12,   0,    0,    0,     // head
      0xFF, 0xFF, 0xFF, 0x7F, 0,    0,    0,    0,     //
      0x04, 0x03, 0x02, 0x01,                          // redo copy
  };
  EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 52), expected);
}

TEST(ContainerState, RoundTripsItsTimes) {
  auto state = fullState();
  const std::optional<Timestamp> times[] = {std::nullopt, Timestamp{0, 0}, Timestamp{-1, 999'999'999},
                                            Timestamp{-5'000'000'000, 1}, Timestamp{9'000'000'000, 0}};
  for (const auto& time : times) {
    state.creationTime = time;
    EXPECT_EQ(ContainerState::decode(state.encode()), state) << (time ? time->seconds : 0);
  }
  state.creationTime = Timestamp{std::int64_t{1} << 60, 5};
  const auto held = ContainerState::decode(state.encode());
  ASSERT_TRUE(held && held->creationTime);
  EXPECT_EQ(held->creationTime->seconds, 9'223'372'036);
}

TEST(ContainerState, EveryFlippedBitAndWrongLengthIsRejected) {
  const auto good = fullState().encode();
  ASSERT_TRUE(ContainerState::decode(good));
  for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
    auto bytes = good;
    bytes[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
    EXPECT_FALSE(ContainerState::decode(bytes)) << "bit " << bit;
  }
  Bytes longer(good.begin(), good.end());
  longer.push_back(0);
  EXPECT_FALSE(ContainerState::decode(longer));
  for (std::size_t count = 0; count < good.size(); ++count) {
    EXPECT_FALSE(ContainerState::decode(std::span(good).first(count))) << count;
  }
}

}  // namespace
}  // namespace quillbrook::test
