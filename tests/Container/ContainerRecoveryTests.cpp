// SPDX-License-Identifier: MIT
#include "BuiltContainer.h"
#include "Container/ContainerRecovery.h"

namespace quillbrook::test {
namespace {

TEST(ContainerRecovery, FindsTheStateInTheDataAlone) {
  const auto inlined = build(CompressionType::lzfseAttr, 900, encoded(text(900)));
  const auto forked = buildLzfseFork(text(80 * 65'536));  // its trailer lies behind the first MiB
  ASSERT_GT(forked.data.size(), std::size_t{1} << 20);
  auto damaged = forked.data + bytesOf("x");
  damaged[100'000] ^= 1;
  // A container whose stored bytes are themselves a container: the outer one is meant.
  const auto nested = build(CompressionType::uncompressedAttr, inlined.data.size(), inlined.data);
  const std::vector<std::tuple<std::string, Bytes, ContainerFinding>> cases{
      {"inline", inlined.data, RecoveredContainer{inlined.state, 0}},
      {"appended to", inlined.data + bytesOf("more"), RecoveredContainer{inlined.state, 4}},
      {"appended to, far in", forked.data + text(2'000'000), RecoveredContainer{forked.state, 2'000'000}},
      {"a container appended", inlined.data + forked.data, RecoveredContainer{inlined.state, forked.data.size()}},
      {"its like appended", inlined.data + inlined.data, RecoveredContainer{inlined.state, inlined.data.size()}},
      {"holds a container", nested.data, RecoveredContainer{nested.state, 0}},
      {"damaged and appended to", damaged, RecoveredContainer{forked.state, 1}},
      {"cut short by a byte", prefix(inlined.data, inlined.data.size() - 1), TrailerMissing{}},
      {"only begins like one", bytesOf("fpmc") + text(5'000), TrailerMissing{}},
      {"text", text(5'000), NotAContainer{}},
      {"shorter than a header", bytesOf("fpmc"), NotAContainer{}},
      {"empty", {}, NotAContainer{}},
  };
  for (const auto& [name, data, expected] : cases) {
    const auto found = ContainerRecovery::find(MemorySource(data), data.size());
    EXPECT_TRUE(found && *found == expected) << name;
  }
}

}  // namespace
}  // namespace quillbrook::test
