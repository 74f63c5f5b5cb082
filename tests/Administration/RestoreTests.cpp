// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Linux/FileDescriptor.h"
#include "SourceTree.h"
#include "Volume/Administration/VolumeRestore.h"

namespace quillbrook {
namespace {

TEST(VolumeRestoreTests, RefusesWhileADaemonLives) {
  const SourceTree tree;
  tree.writeContainer("file", SourceTree::prose(20'000));
  tree.write(".quillbrook-volume/lock", "");
  const FileDescriptor lock(::open(tree.at(".quillbrook-volume/lock").c_str(), O_RDWR));
  ASSERT_EQ(::flock(lock.get(), LOCK_EX), 0);
  const auto refused = VolumeRestore::restore(tree.folder(), [](const RestoreEvent&) { ADD_FAILURE(); });
  ASSERT_FALSE(refused.has_value());
  EXPECT_TRUE(std::holds_alternative<VolumeErrors::Served>(refused.error()));
  EXPECT_TRUE(tree.isCompressed("file"));
}

// Killed again and again at other moments, a restore that is let go to the end has every byte.
TEST(VolumeRestoreTests, MayBeKilledAtAnyMoment) {
  constexpr unsigned seed = 4711;
  RecordProperty("seed", static_cast<int>(seed));
  std::mt19937 random(seed);
  const SourceTree tree;
  const std::vector<SourceTree::Mishap> mishaps[] = {{}, {&SourceTree::loseState}, {&SourceTree::appendMore}};
  const auto name = [](unsigned i) { return "file " + std::to_string(i); };
  const auto content = [](unsigned i) { return SourceTree::prose(70'000 * (i + 1), i); };
  for (int round = 0; round < 6; ++round) {
    for (unsigned i = 0; i < 12; ++i) {
      std::filesystem::remove(tree.at(name(i) + ".appended"));
      tree.writeContainer(name(i), content(i), mishaps[i % 3]);
    }
    for (int kill = 0; kill < 12; ++kill) {
      const pid_t child = ::fork();
      ASSERT_GE(child, 0);
      if (child == 0) {
        const auto result = VolumeRestore::restore(tree.folder(), [](const RestoreEvent&) {});
        ::_exit(result && result->failed == 0 ? 0 : 1);
      }
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 30'000));
      ::kill(child, SIGKILL);
      int status = 0;
      ASSERT_EQ(::waitpid(child, &status, 0), child);
      ASSERT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0);
    }
    const auto result = VolumeRestore::restore(tree.folder(), [](const RestoreEvent&) {});
    ASSERT_TRUE(result.has_value()) << sentence(result.error());
    EXPECT_EQ(result->failed, 0U);
    for (unsigned i = 0; i < 12; ++i) {
      SCOPED_TRACE(name(i) + ", round " + std::to_string(round));
      EXPECT_TRUE(tree.read(name(i)) == content(i));
      EXPECT_FALSE(tree.isCompressed(name(i)));
      EXPECT_EQ(tree.read(name(i) + ".appended"), i % 3 == 2 ? "more" : "");
      EXPECT_FALSE(tree.exists(name(i) + ".appended.1"));
    }
    EXPECT_FALSE(tree.exists(".quillbrook-volume"));
  }
}

}  // namespace
}  // namespace quillbrook
