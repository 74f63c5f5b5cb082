// SPDX-License-Identifier: MIT
// Against the real daemon and a real mount.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <thread>

#include "Platform/Linux/FileDescriptor.h"
#include "SourceTree.h"
#include "Volume/Administration/FuseAvailability.h"
#include "Volume/Administration/VolumeCheck.h"
#include "Volume/Administration/VolumeList.h"
#include "Volume/Administration/VolumeMount.h"
#include "Volume/Administration/VolumeRestore.h"
#include "Volume/Administration/VolumeUnmount.h"

namespace quillbrook {
namespace {

class MountedVolumeTests : public testing::Test {
 protected:
  void SetUp() override {
    if (const auto available = FuseAvailability::check(); !available) GTEST_SKIP() << sentence(available.error());
    const std::string path = std::string(QUILLBROOK_DAEMON_FOLDER) + ":" + std::getenv("PATH");
    ::setenv("PATH", path.c_str(), 1);
    tree_.writeContainer("compressed", content_);
    tree_.write("ordinary", "text");
  }
  void TearDown() override {
    // Whatever a failed test left.
    while (::umount2(tree_.folder().c_str(), MNT_DETACH | UMOUNT_NOFOLLOW) == 0) {
    }
  }

  std::optional<VolumeListing> listing() const {
    const auto volumes = VolumeList::read();
    if (!volumes) return std::nullopt;
    const auto found = std::ranges::find(*volumes, tree_.folder(), &VolumeListing::mountPoint);
    return found == volumes->end() ? std::nullopt : std::optional(*found);
  }

  const std::string content_ = SourceTree::content(100'000, 3);
  SourceTree tree_;
};

TEST_F(MountedVolumeTests, MountsListsChecksAndUnmounts) {
  int calls = 0;
  const auto mounted = VolumeMount::mount(tree_.folder(), {}, {}, [&](const MountOutcome& outcome) {
    ++calls;
    EXPECT_EQ(outcome.folder, tree_.folder());
  });
  ASSERT_TRUE(mounted.has_value()) << sentence(mounted.error());
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(mounted->wasMounted);
  EXPECT_EQ(tree_.read("compressed"), content_);
  EXPECT_FALSE(tree_.exists(".quillbrook-volume"));

  const auto listed = listing();
  ASSERT_TRUE(listed.has_value());
  EXPECT_EQ(listed->source, tree_.folder());
  EXPECT_EQ(listed->owner, ::getuid());
  EXPECT_EQ(listed->condition, VolumeListing::Condition::alive);
  EXPECT_FALSE(listed->isReadOnly);
  ASSERT_TRUE(listed->daemon.has_value());
  EXPECT_EQ(::kill(*listed->daemon, 0), 0);

  const auto again = VolumeMount::mount(tree_.folder(), {});
  ASSERT_TRUE(again.has_value());
  EXPECT_TRUE(again->wasMounted);
  tree_.makeFolder("inner");
  const auto nested = VolumeMount::mount(tree_.path("inner"), {.force = true});
  ASSERT_FALSE(nested.has_value());
  EXPECT_TRUE(std::holds_alternative<VolumeErrors::Nested>(nested.error()));

  const auto checked = VolumeCheck::check(tree_.folder(), [](const CheckFinding& finding) {
    ADD_FAILURE() << finding.path.displayText() << ": " << sentence(finding);
  });
  ASSERT_TRUE(checked.has_value()) << sentence(checked.error());
  EXPECT_EQ(checked->containers, 1U);
  EXPECT_EQ(checked->files, 2U);
  const auto served = VolumeRestore::restore(tree_.folder(), [](const RestoreEvent&) {});
  ASSERT_FALSE(served.has_value());
  EXPECT_TRUE(std::holds_alternative<VolumeErrors::Served>(served.error()));

  const auto unmounted = VolumeUnmount::unmount(tree_.folder());
  ASSERT_TRUE(unmounted.has_value()) << sentence(unmounted.error());
  EXPECT_EQ(unmounted->compressedFiles, 1U);
  EXPECT_FALSE(listing().has_value());
  EXPECT_NE(tree_.read("compressed"), content_);
  const auto twice = VolumeUnmount::unmount(tree_.folder());
  ASSERT_FALSE(twice.has_value());
  EXPECT_TRUE(std::holds_alternative<VolumeErrors::NotMounted>(twice.error()));

  // The daemon has ended, and its lock with it.
  const auto restored = VolumeRestore::restore(tree_.folder(), [](const RestoreEvent&) {});
  ASSERT_TRUE(restored.has_value()) << sentence(restored.error());
  EXPECT_FALSE(tree_.exists(".quillbrook-volume"));
  EXPECT_EQ(tree_.read("compressed"), content_);
}

TEST_F(MountedVolumeTests, RefusesWritersAndBusyVolumes) {
  const auto run = [&](const char* script) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::execl("/bin/sh", "sh", "-c", script, tree_.path("ordinary").c_str(), nullptr);
      ::_exit(127);
    }
    return child;
  };
  const auto end = [](pid_t child) {
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
  };
  const auto waitForUser = [&] {
    while (FolderUsers::find(tree_.folder()).value().empty()) std::this_thread::yield();
  };

  const pid_t writer = run("exec 3>>\"$0\"; exec sleep 60");
  waitForUser();
  const auto refused = VolumeMount::mount(tree_.folder(), {.force = true});
  end(writer);
  ASSERT_FALSE(refused.has_value());
  ASSERT_TRUE(std::holds_alternative<VolumeErrors::InUse>(refused.error())) << describe(refused.error());
  EXPECT_NE(sentence(refused.error()).find(std::to_string(writer)), std::string::npos);

  const pid_t reader = run("exec 3<\"$0\"; exec sleep 60");
  waitForUser();
  const auto mounted = VolumeMount::mount(tree_.folder(), {.readOnly = true});
  end(reader);
  ASSERT_TRUE(mounted.has_value()) << sentence(mounted.error());
  ASSERT_EQ(mounted->users.size(), 1U);
  EXPECT_EQ(mounted->users.front().process, reader);
  EXPECT_TRUE(listing().value().isReadOnly);

  const pid_t user = run("exec 3<\"$0\"; exec sleep 60");
  waitForUser();
  const auto busy = VolumeUnmount::unmount(tree_.folder());
  end(user);
  ASSERT_FALSE(busy.has_value());
  EXPECT_TRUE(std::holds_alternative<VolumeErrors::InUse>(busy.error())) << describe(busy.error());
  EXPECT_EQ(tree_.read("compressed"), content_);
  const auto unmounted = VolumeUnmount::unmount(tree_.folder());
  ASSERT_TRUE(unmounted.has_value()) << sentence(unmounted.error());
}

TEST_F(MountedVolumeTests, ClearsAMountWhoseDaemonDied) {
  for (const bool byMounting : {true, false}) {
    ASSERT_TRUE(VolumeMount::mount(tree_.folder(), {}).has_value());
    const auto daemon = listing().value().daemon;
    ASSERT_TRUE(daemon.has_value());
    ASSERT_EQ(::kill(*daemon, SIGKILL), 0);
    while (listing().value().condition == VolumeListing::Condition::alive) std::this_thread::yield();
    EXPECT_EQ(listing()->condition, VolumeListing::Condition::stale);
    if (byMounting) {
      const auto mounted = VolumeMount::mount(tree_.folder(), {});
      ASSERT_TRUE(mounted.has_value()) << sentence(mounted.error());
      EXPECT_TRUE(mounted->clearedStaleMount);
      EXPECT_EQ(tree_.read("compressed"), content_);
    }
    const auto unmounted = VolumeUnmount::unmount(tree_.folder());
    ASSERT_TRUE(unmounted.has_value()) << sentence(unmounted.error());
    EXPECT_EQ(unmounted->compressedFiles, 1U);
    EXPECT_FALSE(listing().has_value());
  }
}

TEST_F(MountedVolumeTests, RunsInTheForegroundUntilItIsStopped) {
  std::stop_source stop;
  bool wasAlive = false;
  const auto ended =
      VolumeMount::mount(tree_.folder(), {.foreground = true}, stop.get_token(), [&](const MountOutcome&) {
        wasAlive = tree_.read("compressed") == content_;
        stop.request_stop();
      });
  EXPECT_TRUE(ended.has_value()) << sentence(ended.error());
  EXPECT_TRUE(wasAlive);
  EXPECT_FALSE(listing().has_value());
}

TEST_F(MountedVolumeTests, RelaysTheDaemonsWords) {
  tree_.makeFolder(".quillbrook-volume");
  tree_.write(".quillbrook-volume/redo", "no folder");
  const auto failed = VolumeMount::mount(tree_.folder(), {});
  ASSERT_FALSE(failed.has_value());
  const auto* failure = std::get_if<VolumeErrors::DaemonFailed>(&failed.error());
  ASSERT_NE(failure, nullptr) << describe(failed.error());
  EXPECT_NE(failure->exitCode, 0);
  EXPECT_FALSE(failure->words.empty());
  EXPECT_FALSE(listing().has_value());
}

}  // namespace
}  // namespace quillbrook
