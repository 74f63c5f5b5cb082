// SPDX-License-Identifier: MIT
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
  const auto bytes = fullState().encode();
  EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 52), expected);
}

TEST(ContainerState, RoundTripsItsTimes) {
  auto state = fullState();
  for (const auto& time : std::vector<std::optional<Timestamp>>{
           std::nullopt, Timestamp{0, 0}, Timestamp{-1, 999'999'999}, Timestamp{-5'000'000'000, 1}}) {
    state.creationTime = time;
    EXPECT_EQ(ContainerState::decode(state.encode()), state) << (time ? time->seconds : 0);
  }
  state.creationTime = Timestamp{.seconds = std::int64_t{1} << 60, .nanoseconds = 5};
  const auto bytes = state.encode();
  state.creationTime = Timestamp{.seconds = 9'223'372'036, .nanoseconds = 854'775'807};  // the last that can be kept
  EXPECT_EQ(ContainerState::decode(bytes), state);
}

TEST(ContainerState, EveryFlippedBitAndWrongLengthIsRejected) {
  const auto state = fullState().encode();
  Bytes bytes(state.begin(), state.end());
  for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
    bytes[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
    EXPECT_FALSE(ContainerState::decode(bytes)) << "bit " << bit;
    bytes[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
  }
  for (std::size_t count = 0; count <= bytes.size() + 1; ++count) {
    EXPECT_EQ(ContainerState::decode(prefix(bytes + Bytes(1), count)).has_value(), count == bytes.size()) << count;
  }
  auto endless = fullState();
  endless.logicalByteCount = std::uint64_t{1} << 63U;
  EXPECT_FALSE(ContainerState::decode(endless.encode())) << "negative as a file's size";
  endless.logicalByteCount -= 1;
  EXPECT_TRUE(ContainerState::decode(endless.encode()));
}

}  // namespace
}  // namespace quillbrook::test
