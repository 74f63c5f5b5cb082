// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "BuiltContainer.h"
#include "Container/ContainerRecovery.h"

namespace quillbrook::test {
namespace {

TEST(ContainerRecovery, FindsTheStateInTheDataAlone) {
  const auto inlined = build(CompressionType::lzfseAttr, 900, lzfse(prose(900)));
  const auto forked = buildLzfseFork(prose(80 * 65'536));  // its trailer lies behind the first MiB
  ASSERT_GT(forked.data.size(), std::size_t{1} << 20);
  const auto cut = [](const BuiltContainer& built, std::size_t missing) {
    return Bytes(built.data.begin(), built.data.end() - static_cast<std::ptrdiff_t>(missing));
  };
  auto damaged = forked.data;
  damaged[100'000] ^= 1;
  damaged.push_back('x');
  // A container whose stored bytes are themselves a container: the outer one is meant.
  const auto nested = build(CompressionType::uncompressedAttr, inlined.data.size(), inlined.data);

  const struct {
    std::string name;
    Bytes data;
    ContainerFinding expected;
  } cases[] = {
      {"inline", inlined.data, RecoveredContainer{inlined.state, 0}},
      {"fork", forked.data, RecoveredContainer{forked.state, 0}},
      {"appended to", joined({inlined.data, bytesOf("more")}), RecoveredContainer{inlined.state, 4}},
      {"appended to, far in", joined({forked.data, prose(2'000'000)}), RecoveredContainer{forked.state, 2'000'000}},
      {"a container appended", joined({inlined.data, forked.data}),
       RecoveredContainer{inlined.state, forked.data.size()}},
      {"its like appended", joined({inlined.data, inlined.data}),
       RecoveredContainer{inlined.state, inlined.data.size()}},
      {"holds a container", nested.data, RecoveredContainer{nested.state, 0}},
      {"damaged and appended to", damaged, RecoveredContainer{forked.state, 1}},
      {"cut short by a byte", cut(inlined, 1), TrailerMissing{}},
      {"cut short by its trailer", cut(forked, ContainerState::byteCount), TrailerMissing{}},
      {"only begins like one", joined({bytesOf("fpmc"), prose(5000)}), TrailerMissing{}},
      {"text", prose(5000), NotAContainer{}},
      {"shorter than a header", bytesOf("fpmc"), NotAContainer{}},
      {"empty", {}, NotAContainer{}},
  };
  for (const auto& c : cases) {
    const auto found = ContainerRecovery::find(MemorySource(c.data), c.data.size());
    ASSERT_TRUE(found) << c.name;
    EXPECT_TRUE(*found == c.expected) << c.name << ": alternative " << found->index();
  }
}

}  // namespace
}  // namespace quillbrook::test
