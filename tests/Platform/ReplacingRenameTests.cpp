// SPDX-License-Identifier: MIT

#include "NativeFixture.h"

namespace quillbrook::test {
namespace {

class ReplacingRename : public NativeFixture {};

TEST_F(ReplacingRename, LeavesBothAsTheyWere) {
  const std::vector<std::pair<std::string, std::function<void(const FilePath&)>>> cases{
      {"replaced", [&](const FilePath& t) { std::filesystem::rename(ordinary("new", "newer").bytes(), t.bytes()); }},
      {"opened for writing",
       [](const FilePath& t) { const FileDescriptor writer(open(t.c_str(), O_WRONLY | O_CLOEXEC)); }},
      {"gone", [](const FilePath& t) { std::filesystem::remove(t.bytes()); }},
  };
  for (const auto& [name, change] : cases) {
    SCOPED_TRACE(name);
    const auto target = ordinary("t " + name, "old");
    const auto copy = ordinary("w " + name, "work");
    const auto lock = locked(target);
    const auto before = status(target);
    change(target);
    const auto left = raw(target);
    // Neither the file that is locked nor the one that stands there now.
    for (const auto& expected : {before, files.lstat(target).value_or(before)}) {
      EXPECT_EQ(files.rename(copy, target, expected, *lock).error(), ErrorNumber::stale);
      EXPECT_EQ(raw(copy), "work");
      EXPECT_EQ(raw(target), left);
    }
    EXPECT_EQ(files.lstat(target).has_value(), name != "gone");
  }
}

TEST_F(ReplacingRename, DoesNotLoseWhatWasAppendedToAContainer) {
  const auto target = compressed("t", prose(5'000));
  std::ofstream(target.bytes(), std::ios::app | std::ios::binary) << "appended";
  const auto before = raw(target);
  EXPECT_EQ(content(target), prose(5'000)) << "its own content is as good as ever";
  EXPECT_EQ(files.rename(ordinary("w", "work"), target, status(target), *locked(target)).error(),
            ErrorNumber::inputOutput);
  EXPECT_EQ(raw(target), before);
}

// Another program saves by renaming over the target, again and again, while we do: no version of its may be lost to
// an older one of ours.
TEST_F(ReplacingRename, LosesNoRace) {
  const auto target = ordinary("t", "0");
  std::atomic<int> saved = 0;
  {
    const std::jthread editor([&](const std::stop_token& stop) {
      for (int version = 1; !stop.stop_requested(); ++version) {
        std::filesystem::rename(ordinary("t.editor", std::to_string(version)).bytes(), target.bytes());
        saved = version;
      }
    });
    int replaced = 0;
    for (int round = 0; round < 20'000 && (round < 500 || replaced < 20); ++round) {
      const auto lock = files.openForLocking(target);
      if (!lock || !(*lock)->flock()) continue;
      const auto expected = files.lstat(target);
      const auto version = content(target);
      if (!expected || !version || !(*lock)->isHeld()) continue;
      const auto copy = ordinary("t.work", *version);
      const auto before = saved.load();
      if (!files.rename(copy, target, *expected, **lock)) continue;
      ++replaced;
      EXPECT_FALSE(std::filesystem::exists(copy.bytes()));
      // What we put there came from the locked file; had a newer one been there, it would be gone now.
      if (std::stoi(*version) < before) {
        ASSERT_GE(std::stoi(raw(target)), before);
      }
    }
    EXPECT_GT(replaced, 0);
  }
  EXPECT_EQ(raw(target), std::to_string(saved.load()));
}

}  // namespace
}  // namespace quillbrook::test
