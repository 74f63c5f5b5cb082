// SPDX-License-Identifier: MIT
// Against the real daemon and a real mount.
#include <poll.h>
#include <sys/mount.h>

#include "Platform/Bookmark.h"
#include "Platform/FileSystem.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/FuseUnmount.h"
#include "Platform/Linux/MountTable.h"
#include "Platform/Linux/ProcessDescriptor.h"
#include "SourceTree.h"
#include "Support/ChildProcess.h"
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
  // A file system of another kind, in a new folder: where it can.
  [[nodiscard]] bool mountsAnother(const char* name) const {
    tree_.makeFolder(name);
    const bool isMounted = ::mount("none", tree_.at(name).c_str(), "tmpfs", 0, nullptr) == 0;
    if (!isMounted) std::cout << "SKIPPED: only root can mount something inside\n";
    return isMounted;
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

// A bind mount that is older than the volume shows what lies beneath it, by paths that have nothing in common.
TEST_F(MountedVolumeTests, KnowsItsOwnByEveryMount) {
  const auto table = MountTable::read();
  ASSERT_TRUE(table);
  if (std::ranges::find(*table, "/", &MountEntry::mountPoint) == table->end()) {
    GTEST_SKIP() << "the root of this process is no mount, so the mount table does not tell where folders lie";
  }
  tree_.writeContainer("sub/inner", content_);
  const SourceTree elsewhere;
  if (::mount(tree_.at("sub").c_str(), elsewhere.folder().c_str(), nullptr, MS_BIND, nullptr) != 0) {
    GTEST_SKIP() << "only root can bind a folder to another place";
  }
  mount();
  EXPECT_TRUE(isRefusedAs<VolumeErrors::Nested>(VolumeMount::mount(elsewhere.folder(), {.force = true})));
  EXPECT_TRUE(
      isRefusedAs<VolumeErrors::Nested>(VolumeRestore::restore(elsewhere.folder(), [](const RestoreEvent&) {})));
  const auto lock = FileSystem::native().openForLocking(elsewhere.path("inner"));
  ASSERT_TRUE(lock);
  EXPECT_EQ((*lock)->flock().error(), ErrorNumber::wouldBlock);
  unmount();
  const auto free = FileSystem::native().openForLocking(elsewhere.path("inner"));
  ASSERT_TRUE(free);
  EXPECT_TRUE((*free)->flock());
  EXPECT_EQ(::umount2(elsewhere.folder().c_str(), MNT_DETACH), 0);
}

// What is registered while it is mounted is found after it was unmounted and renamed.
TEST_F(MountedVolumeTests, ABookmarkOfTheVolumeIsOneOfItsFolder) {
  mount();
  const auto whole = Bookmark::create(tree_.folder());
  const auto part = Bookmark::create(tree_.path("ordinary"));
  ASSERT_TRUE(whole && part);
  EXPECT_EQ(Bookmark::resolve(*whole), (Bookmark::Resolved{tree_.folder(), false}));
  unmount();
  EXPECT_EQ(Bookmark::resolve(*whole), (Bookmark::Resolved{tree_.folder(), false}));
  const FilePath renamed = tree_.folder().appendingExtension("renamed");
  std::filesystem::rename(tree_.folder().bytes(), renamed.bytes());
  const auto found = Bookmark::resolve(*whole);
  std::filesystem::rename(renamed.bytes(), tree_.folder().bytes());
  EXPECT_EQ(found, (Bookmark::Resolved{renamed, true}));
}

// The signal is sent when kill returns; each thread stops in its own time, and may answer until then.
void stop(pid_t process) {
  ASSERT_EQ(::kill(process, SIGSTOP), 0);
  const auto runs = [](const std::filesystem::directory_entry& thread) {
    std::string stat;
    std::getline(std::ifstream(thread.path() / "stat"), stat);
    return !stat.substr(stat.rfind(')') + 1).starts_with(" T");
  };
  const std::filesystem::path threads = "/proc/" + std::to_string(process) + "/task";
  while (std::ranges::any_of(std::filesystem::directory_iterator(threads), runs)) ::usleep(1'000);
}

TEST_F(MountedVolumeTests, ListsAVolumeWhoseDaemonDoesNotAnswer) {
  mount();
  const pid_t daemon = listed().daemon.value_or(0);
  ASSERT_GT(daemon, 0);
  stop(daemon);
  const VolumeListing stopped = listed();
  ASSERT_EQ(::kill(daemon, SIGCONT), 0);
  EXPECT_EQ(stopped.condition, VolumeListing::Condition::silent);
  EXPECT_EQ(stopped.daemon, std::nullopt);
  EXPECT_EQ(listed().condition, VolumeListing::Condition::alive);
  unmount();
}

TEST_F(MountedVolumeTests, ChecksAPartOfAVolume) {
  tree_.writeContainer("outer/inner/damaged", content_, {&SourceTree::flipBit});
  // A rewriting was cut off: the copy lies with the whole volume.
  tree_.writeContainer("outer/interrupted", content_);
  tree_.setRedoIdentifier("outer/interrupted", 17);
  tree_.writeRedoCopy(".quillbrook-volume/redo/17", content_, tree_.redoRecord("outer/interrupted"));
  const auto findings = [this](const char* folder) {
    std::map<std::string, CheckFinding::Kind> found;
    const auto checked = VolumeCheck::check(tree_.path(folder), [&](const CheckFinding& finding) {
      found.emplace(finding.path.bytes().substr(tree_.folder().bytes().size() + 1), finding.kind);
    });
    EXPECT_TRUE(checked.has_value()) << sentence(checked.error());
    return found;
  };
  using Findings = std::map<std::string, CheckFinding::Kind>;
  const Findings damaged{{"outer/inner/damaged", CheckFinding::Kind::damagedContainer}};
  Findings both = damaged;
  both.emplace("outer/interrupted", CheckFinding::Kind::interruptedExpansion);
  EXPECT_EQ(findings("outer"), both) << "without a mount";
  EXPECT_EQ(findings("outer/inner"), damaged) << "without a mount";
  tree_.write("outer/interrupted", content_);
  tree_.setState("outer/interrupted", {});
  mount();
  EXPECT_EQ(findings("outer"), damaged);
  EXPECT_EQ(findings("outer/inner"), damaged);
  // Something else that is mounted inside is none of the volume's.
  if (mountsAnother("outer/inner/other")) {
    EXPECT_EQ(findings("outer/inner/other"), Findings{});
    ASSERT_EQ(::umount2(tree_.at("outer/inner/other").c_str(), 0), 0);
  }
  unmount();
}

TEST_F(MountedVolumeTests, RefusesWritersAndBusyVolumes) {
  const auto opens = [this](int flags) {
    return [this, flags] { return ::open(tree_.at("ordinary").c_str(), flags) >= 0; };
  };
  {
    const WaitingChild writer(opens(O_WRONLY | O_APPEND));
    const auto refused = VolumeMount::mount(tree_.folder(), {.force = true});
    ASSERT_TRUE(isRefusedAs<VolumeErrors::InUse>(refused));
    EXPECT_TRUE(sentence(refused.error()).contains(std::to_string(writer.process())));
    EXPECT_TRUE(isRefusedAs<VolumeErrors::InUse>(restore()));
  }
  {
    const WaitingChild reader(opens(O_RDONLY));
    const auto mounted = mount({.readOnly = true});
    ASSERT_EQ(mounted.users.size(), 1U);
    EXPECT_EQ(mounted.users.front().process, reader.process());
    EXPECT_TRUE(listed().isReadOnly);
  }
  {
    const WaitingChild user(opens(O_RDONLY));
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

// Detached in some other way while a file is open in it.
TEST_F(MountedVolumeTests, TellsADaemonThatIsEndingFromOtherUsers) {
  mount();
  const pid_t daemon = listed().daemon.value_or(0);
  ASSERT_GT(daemon, 0);
  const auto process = ProcessDescriptor::open(daemon);
  ASSERT_TRUE(process.has_value());
  {
    const FileDescriptor file(::open(tree_.at("ordinary").c_str(), O_RDWR));
    ASSERT_TRUE(FuseUnmount::unmount(tree_.folder(), FuseUnmount::Manner::lazily).has_value());
    EXPECT_TRUE(isRefusedAs<VolumeErrors::Ending>(VolumeMount::mount(tree_.folder(), {})));
    EXPECT_TRUE(isRefusedAs<VolumeErrors::Ending>(restore()));
  }
  pollfd ended{.fd = process->get(), .events = POLLIN, .revents = 0};  // NOLINT(misc-const-correctness): poll writes it
  ASSERT_EQ(::poll(&ended, 1, -1), 1);
  EXPECT_TRUE(restore().has_value());
}

TEST_F(MountedVolumeTests, RefusesAnotherKindOfMountAndToLeaveOneInside) {
  mount();
  for (const MountOptions& other :
       {MountOptions{.readOnly = true}, MountOptions{.allowOther = true}, MountOptions{.foreground = true}}) {
    EXPECT_TRUE(isRefusedAs<VolumeErrors::MountedOtherwise>(VolumeMount::mount(tree_.folder(), other)));
  }
  if (mountsAnother("inner")) {
    const auto refused = VolumeUnmount::unmount(tree_.folder());
    ASSERT_FALSE(refused.has_value());
    EXPECT_TRUE(refused.error() == VolumeError(VolumeErrors::MountInside{tree_.folder(), tree_.path("inner")}));
    ASSERT_EQ(::umount2(tree_.at("inner").c_str(), 0), 0);
  }
  unmount();
}

TEST_F(MountedVolumeTests, TellsOfADaemonThatIsKilledInTheForeground) {
  const auto ended = VolumeMount::mount(tree_.folder(), {.foreground = true}, {}, [&](const MountOutcome&) {
    ASSERT_EQ(::kill(listed().daemon.value_or(0), SIGKILL), 0);
  });
  ASSERT_TRUE(isRefusedAs<VolumeErrors::DaemonFailed>(ended));
  EXPECT_TRUE(std::get<VolumeErrors::DaemonFailed>(ended.error()).hadMounted);
  EXPECT_EQ(std::get<VolumeErrors::DaemonFailed>(ended.error()).exitCode, 128 + SIGKILL);
  unmount();
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

  // The volume stands all the same, but a copy in it belongs to a file that is gone.
  std::filesystem::remove(tree_.at(".quillbrook-volume/redo"));
  tree_.write(".quillbrook-volume/redo/5", content_);
  {
    const FileDescriptor copy(::open(tree_.at(".quillbrook-volume/redo/5").c_str(), O_RDWR));
    const RedoRecord record{.inode = 1, .kept = {.mode = 0600, .capability = {}}, .path = {}};
    ASSERT_TRUE(record.write(copy.get()).has_value());
  }
  const std::string words = mount().words;
  EXPECT_TRUE(words.contains(".quillbrook-volume/redo/5: its file was not found")) << words;
  unmount();
}

}  // namespace
}  // namespace quillbrook
