// SPDX-License-Identifier: MIT
#include <thread>

#include "NativeFixture.h"
#include "Platform/Linux/StoredState.h"

namespace quillbrook::test {
namespace {

class ReplacingRename : public NativeFixture {};

TEST_F(ReplacingRename, PutsTheWorkFileInPlace) {
  auto& files = FileSystem::native();
  const auto target = ordinary("t", prose(5000));
  const auto work = compressed("t.slimtmp", prose(5000));
  auto lock = files.openForLocking(target);
  ASSERT_TRUE(lock && (*lock)->flock());
  ASSERT_TRUE(files.rename(work, target, status(target), **lock));
  EXPECT_EQ(files.lstat(work).error(), ErrorNumber::noEntry);
  EXPECT_EQ(status(target).st_flags, UF_COMPRESSED);
  EXPECT_EQ(content(target), prose(5000));
}

TEST_F(ReplacingRename, LeavesBothAsTheyWere) {
  auto& files = FileSystem::native();
  const struct {
    const char* name;
    std::function<void(const FilePath&)> meanwhile;
    ErrorNumber expected;
    const char* left;
  } cases[] = {
      {"replaced", [&](const FilePath& t) { std::filesystem::rename(ordinary("new", "newer").bytes(), t.bytes()); },
       ErrorNumber::busy, "newer"},
      {"opened for writing", [](const FilePath& t) { FileDescriptor(open(t.c_str(), O_WRONLY | O_CLOEXEC)); },
       ErrorNumber::busy, "old"},
      {"gone", [&](const FilePath& t) { std::filesystem::remove(t.bytes()); }, ErrorNumber::noEntry, nullptr},
  };
  for (const auto& c : cases) {
    const auto target = ordinary(std::string("t ") + c.name, "old");
    const auto work = ordinary(std::string("w ") + c.name, "work");
    auto lock = files.openForLocking(target);
    ASSERT_TRUE(lock && (*lock)->flock());
    const auto expected = status(target);
    c.meanwhile(target);
    EXPECT_EQ(files.rename(work, target, expected, **lock).error(), c.expected) << c.name;
    EXPECT_EQ(raw(work), "work") << c.name;
    EXPECT_EQ(std::filesystem::exists(target.bytes()), c.left != nullptr) << c.name;
    if (c.left != nullptr) {
      EXPECT_EQ(raw(target), c.left) << c.name;
    }
  }
}

TEST_F(ReplacingRename, TakesNoLockOfAnotherInode) {
  auto& files = FileSystem::native();
  const auto target = ordinary("t", "old");
  const auto work = ordinary("w", "work");
  auto lock = files.openForLocking(target);
  ASSERT_TRUE(lock && (*lock)->flock());
  std::filesystem::rename(ordinary("new", "newer").bytes(), target.bytes());
  EXPECT_EQ(files.rename(work, target, status(target), **lock).error(), ErrorNumber::busy);
  EXPECT_EQ(raw(target), "newer");
}

TEST_F(ReplacingRename, DoesNotLoseWhatWasAppendedToAContainer) {
  auto& files = FileSystem::native();
  const auto target = compressed("t", prose(5000));
  std::ofstream(target.bytes(), std::ios::app | std::ios::binary) << "appended";
  const auto before = raw(target);
  const auto work = ordinary("w", prose(5000));
  auto lock = files.openForLocking(target);
  ASSERT_TRUE(lock && (*lock)->flock());
  EXPECT_EQ(content(target), prose(5000)) << "its own content is as good as ever";
  EXPECT_EQ(files.rename(work, target, status(target), **lock).error(), ErrorNumber::inputOutput);
  EXPECT_EQ(raw(target), before);
}

// Another program saves by renaming over the target, again and again, while we do: no version of its may be lost to
// an older one of ours.
TEST_F(ReplacingRename, LosesNoRace) {
  auto& files = FileSystem::native();
  const auto target = ordinary("t", "0");
  std::atomic<int> saved = 0;
  std::atomic<bool> isLost = false;
  {
    const std::jthread editor([&](const std::stop_token& stop) {
      for (int version = 1; !stop.stop_requested(); ++version) {
        std::filesystem::rename(ordinary("t.editor", std::to_string(version)).bytes(), target.bytes());
        saved = version;
      }
    });
    int replaced = 0;
    for (int round = 0; round < 20'000 && (round < 500 || replaced < 20); ++round) {
      auto lock = files.openForLocking(target);
      if (!lock || !(*lock)->flock()) continue;
      const auto expected = files.lstat(target);
      const auto version = content(target);
      if (!expected || !version || !(*lock)->isHeld()) continue;
      const auto work = ordinary("t.slimtmp", *version);
      const auto before = saved.load();
      const auto outcome = files.rename(work, target, *expected, **lock);
      if (outcome) ++replaced;
      // What we put there came from the locked file; had a newer one been there, it would be gone now.
      if (outcome && std::stoi(*version) < before) isLost = std::stoi(raw(target)) < before;
      if (isLost) break;
    }
    EXPECT_GT(replaced, 0);
  }
  EXPECT_FALSE(isLost);
  EXPECT_EQ(raw(target), std::to_string(saved.load()));
}

}  // namespace
}  // namespace quillbrook::test
