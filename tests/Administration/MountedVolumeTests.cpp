// SPDX-License-Identifier: MIT
// Against the real daemon and a real mount.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>

#include "SourceTree.h"
#include "Volume/Administration/FuseAvailability.h"
#include "Volume/Administration/VolumeCheck.h"
#include "Volume/Administration/VolumeList.h"
#include "Volume/Administration/VolumeMount.h"
#include "Volume/Administration/VolumeRestore.h"
#include "Volume/Administration/VolumeUnmount.h"
#include "WaitingChild.h"

namespace quillbrook {
namespace {

// That it was refused, and with which error.
template <typename Error, typename Answer>
testing::AssertionResult isRefusedAs(const Answer& answer) {
  if (answer) return testing::AssertionFailure() << "it was not refused";
  if (std::holds_alternative<Error>(answer.error())) return testing::AssertionSuccess();
  return testing::AssertionFailure() << describe(answer.error());
}

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

  MountOutcome mount(const MountOptions& options = {}) {
    int calls = 0;
    const auto mounted = VolumeMount::mount(tree_.folder(), options, {}, [&](const MountOutcome&) { ++calls; });
    EXPECT_TRUE(mounted.has_value()) << sentence(mounted.error());
    EXPECT_EQ(calls, 1);
    return mounted.value_or(MountOutcome{});
  }
  UnmountOutcome unmount() {
    const auto unmounted = VolumeUnmount::unmount(tree_.folder());
    EXPECT_TRUE(unmounted.has_value()) << sentence(unmounted.error());
    EXPECT_FALSE(listing().has_value());
    return unmounted.value_or(UnmountOutcome{});
  }
  [[nodiscard]] auto restore() const {
    return VolumeRestore::restore(tree_.folder(), [](const RestoreEvent&) {});
  }
  [[nodiscard]] std::optional<VolumeListing> listing() const {
    const auto volumes = VolumeList::read().value();
    const auto found = std::ranges::find(volumes, tree_.folder(), &VolumeListing::mountPoint);
    return found == volumes.end() ? std::nullopt : std::optional(*found);
  }

  // Of no volume where there is none.
  [[nodiscard]] VolumeListing listed() const { return listing().value_or(VolumeListing{}); }

  const std::string content_ = SourceTree::prose(100'000);
  SourceTree tree_;
};

TEST_F(MountedVolumeTests, MountsListsChecksAndUnmounts) {
  EXPECT_FALSE(mount().wasMounted);
  EXPECT_EQ(tree_.read("compressed"), content_);
  const VolumeListing own = listed();
  EXPECT_EQ(own.source, tree_.folder());
  EXPECT_EQ(own.owner, ::getuid());
  EXPECT_EQ(own.condition, VolumeListing::Condition::alive);
  EXPECT_FALSE(own.isReadOnly);
  const pid_t daemon = own.daemon.value_or(0);
  ASSERT_GT(daemon, 0);
  EXPECT_EQ(::kill(daemon, 0), 0);

  EXPECT_TRUE(mount().wasMounted);
  tree_.makeFolder("inner");
  EXPECT_TRUE(isRefusedAs<VolumeErrors::Nested>(VolumeMount::mount(tree_.path("inner"), {.force = true})));
  EXPECT_TRUE(isRefusedAs<VolumeErrors::Served>(restore()));
  const auto checked =
      VolumeCheck::check(tree_.folder(), [](const auto& finding) { ADD_FAILURE() << sentence(finding); });
  ASSERT_TRUE(checked.has_value()) << sentence(checked.error());
  EXPECT_EQ(checked->containers, 1U) << "it looks beneath the mount";

  const auto unmounted = VolumeUnmount::unmount(tree_.folder());
  const auto restored = restore();  // at once: the daemon has ended, and its lock with it
  EXPECT_EQ(unmounted.value_or(UnmountOutcome{}).compressedFiles, 1U);
  EXPECT_TRUE(isRefusedAs<VolumeErrors::NotMounted>(VolumeUnmount::unmount(tree_.folder())));
  ASSERT_TRUE(restored.has_value()) << sentence(restored.error());
  EXPECT_FALSE(tree_.exists(".quillbrook-volume"));
  EXPECT_EQ(tree_.read("compressed"), content_);
}

TEST_F(MountedVolumeTests, RefusesWritersAndBusyVolumes) {
  const auto opens = [this](int flags) {
    return [this, flags] { return ::open(tree_.at("ordinary").c_str(), flags) >= 0; };
  };
  {
    const WaitingChild writer(opens(O_WRONLY | O_APPEND));
    ASSERT_TRUE(writer.isReady());
    const auto refused = VolumeMount::mount(tree_.folder(), {.force = true});
    ASSERT_TRUE(isRefusedAs<VolumeErrors::InUse>(refused));
    EXPECT_TRUE(sentence(refused.error()).contains(std::to_string(writer.process())));
    EXPECT_TRUE(isRefusedAs<VolumeErrors::InUse>(restore()));
  }
  {
    const WaitingChild reader(opens(O_RDONLY));
    ASSERT_TRUE(reader.isReady());
    const auto mounted = mount({.readOnly = true});
    ASSERT_EQ(mounted.users.size(), 1U);
    EXPECT_EQ(mounted.users.front().process, reader.process());
    EXPECT_TRUE(listed().isReadOnly);
  }
  {
    const WaitingChild user(opens(O_RDONLY));
    ASSERT_TRUE(user.isReady());
    EXPECT_TRUE(isRefusedAs<VolumeErrors::InUse>(VolumeUnmount::unmount(tree_.folder())));
    EXPECT_EQ(tree_.read("compressed"), content_);
  }
  unmount();
}

TEST_F(MountedVolumeTests, ClearsAMountWhoseDaemonDied) {
  for (const bool byMounting : {true, false}) {
    mount();
    const pid_t daemon = listed().daemon.value_or(0);
    ASSERT_GT(daemon, 0);
    ASSERT_EQ(::kill(daemon, SIGKILL), 0);
    while (listing() && listed().condition == VolumeListing::Condition::alive) std::this_thread::yield();
    EXPECT_EQ(listed().condition, VolumeListing::Condition::stale);
    if (byMounting) {
      EXPECT_TRUE(mount().clearedStaleMount);
      EXPECT_EQ(tree_.read("compressed"), content_);
    }
    EXPECT_EQ(unmount().compressedFiles, 1U);
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
  tree_.write(".quillbrook-volume/redo", "no folder");
  const auto failed = VolumeMount::mount(tree_.folder(), {});
  ASSERT_TRUE(isRefusedAs<VolumeErrors::DaemonFailed>(failed));
  EXPECT_NE(std::get<VolumeErrors::DaemonFailed>(failed.error()).exitCode, 0);
  EXPECT_FALSE(std::get<VolumeErrors::DaemonFailed>(failed.error()).words.empty());
  EXPECT_FALSE(listing().has_value());
}

}  // namespace
}  // namespace quillbrook
