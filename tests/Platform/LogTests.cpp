// SPDX-License-Identifier: MIT

#include "Platform/Log.h"
#include "Support/Prelude.h"

namespace quillbrook::test {
namespace {

TEST(Log, KeepsTheLastMessagesWithPrivateArgumentsMasked) {
  constexpr Log log("compression");
  for (int i = 0; i < 10'003; ++i) log.write(LogLevel::debug, "%d", {std::int64_t{i}});
  log.write(LogLevel::standard, "chown failed for %{private}s: errno=%d", {"/home/someone/secret", std::int64_t{13}});
  log.write(LogLevel::fault, "%{public}s %{private}d %{public}d 100%%", {"word", std::int64_t{1}, std::int64_t{-2}});
  const auto entries = Log::entries();
  ASSERT_EQ(entries.size(), 10'000U);
  EXPECT_EQ(entries.front().message, "5");
  EXPECT_EQ(entries[9'998].message, "chown failed for <private>: errno=13");
  EXPECT_EQ(entries[9'998].category, "compression");
  EXPECT_EQ(entries[9'998].level, LogLevel::standard);
  EXPECT_EQ(entries.back().message, "word <private> -2 100%");
  log.write(LogLevel::info, "unmarked %s %d", {"/home/someone/secret", std::int64_t{3}});
  EXPECT_EQ(Log::entries().back().message, "unmarked <private> 3");
}

}  // namespace
}  // namespace quillbrook::test
