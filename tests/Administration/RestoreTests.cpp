// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <random>
#include <string>
#include <thread>

#include "OrdinaryUser.h"
#include "Platform/Linux/FileDescriptor.h"
#include "SourceTree.h"
#include "Volume/Administration/VolumeRestore.h"
#include "Volume/Expansion/RedoRecord.h"

namespace quillbrook {
namespace {

struct Restored {
  RestoreResult result;
  std::map<std::string, std::string> events;  // path beneath the folder: "", "failed", or the name of what was appended
};

Restored restore(const SourceTree& tree) {
  Restored restored;
  const std::size_t prefix = tree.folder().bytes().size() + 1;
  const auto result = VolumeRestore::restore(tree.folder(), [&](const RestoreEvent& event) {
    const bool failed = event.outcome == RestoreEvent::Outcome::failed;
    const std::string what = event.appended ? event.appended->bytes().substr(prefix) : "";
    EXPECT_TRUE(restored.events.emplace(event.path.bytes().substr(prefix), failed ? "failed" + what : what).second);
    EXPECT_EQ(failed, event.detail.ends_with('.')) << event.detail;
  });
  EXPECT_TRUE(result.has_value()) << sentence(result.error());
  if (result) restored.result = *result;
  return restored;
}

struct stat statusOf(const SourceTree& tree, std::string_view name) {
  struct stat status{};
  EXPECT_EQ(::lstat(tree.path(name).c_str(), &status), 0) << name;
  return status;
}

void bringBackEveryCase() {
  const SourceTree tree;
  const std::string content = SourceTree::content(150'000, 7);
  tree.makeFolder("folder");
  tree.write("ordinary", "as it is");
  std::map<std::string, std::string> expected;
  const auto add = [&](const std::string& name, const std::string& event) {
    tree.writeContainer(name, content);
    expected[name] = event;
  };
  add("plain", "");
  add("folder/linked", "");
  ASSERT_EQ(::link(tree.path("folder/linked").c_str(), tree.path("folder/second name").c_str()), 0);
  add("empty", "");
  tree.writeContainer("empty", "");
  add("read-only", "");
  ASSERT_EQ(::chmod(tree.path("read-only").c_str(), 0444), 0);
  add("lost", "");
  tree.removeState("lost");
  add("garbled", "");
  ASSERT_EQ(::setxattr(tree.path("garbled").c_str(), "user.quillbrook.state", "junk", 4, 0), 0);
  add("surplus", "surplus.appended.1");
  tree.append("surplus", "more");
  tree.write("surplus.appended", "mine");
  add("again", "again.appended");
  tree.append("again", "more");
  tree.write("again.appended", "more");  // an earlier run was stopped right behind it
  add("lost surplus", "lost surplus.appended");
  tree.removeState("lost surplus");
  tree.append("lost surplus", "more");
  const std::string longName = std::string(250, 'n') + "\xC3\xA4\xC3\xA4";
  const std::string longAppended = std::string(246, 'n') + ".appended";
  add(longName, longAppended);
  tree.append(longName, "more");

  tree.makeFolder(".quillbrook-volume/redo");
  add("interrupted", "");
  ContainerState state = tree.state("interrupted");
  state.redoIdentifier = 17;
  tree.write(".quillbrook-volume/redo/17", content);
  const FileDescriptor folder(::open(tree.folder().c_str(), O_RDONLY | O_DIRECTORY));
  const FileDescriptor interrupted(::open(tree.path("interrupted").c_str(), O_RDWR));
  const FileDescriptor copy(::open(tree.path(".quillbrook-volume/redo/17").c_str(), O_RDWR));
  const auto record = RedoRecord::of(folder.get(), interrupted.get());
  ASSERT_TRUE(record.has_value());
  ASSERT_TRUE(record->write(copy.get()).has_value());
  tree.writeState("interrupted", state);
  // The rewrite had begun.
  tree.flipBit("interrupted", 3);
  tree.write(".quillbrook-volume/redo/18", "never finished");

  std::map<std::string, struct stat> before;
  for (const auto& [name, event] : expected) before[name] = statusOf(tree, name);

  const Restored restored = restore(tree);
  // Either name of the linked one may be the first.
  std::map<std::string, std::string> events = restored.events;
  if (auto second = events.extract("folder/second name")) {
    second.key() = "folder/linked";
    events.insert(std::move(second));
  }
  EXPECT_EQ(events, expected);
  EXPECT_EQ(restored.result.restored, expected.size());
  EXPECT_EQ(restored.result.failed, 0U);
  EXPECT_FALSE(tree.exists(".quillbrook-volume"));

  const auto wasAppended = [&](const std::string& name) { return !expected[name].empty(); };
  for (const auto& [name, event] : expected) {
    EXPECT_TRUE(tree.read(name) == (name == "empty" ? "" : content)) << name;
    EXPECT_FALSE(tree.hasState(name)) << name;
    const auto after = statusOf(tree, name);
    EXPECT_EQ(after.st_ino, before[name].st_ino) << name;
    EXPECT_EQ(after.st_mode, before[name].st_mode) << name;
    EXPECT_EQ(after.st_mtim.tv_sec, wasAppended(name) ? before[name].st_mtim.tv_sec : SourceTree::modificationSeconds);
  }
  EXPECT_TRUE(tree.read("folder/second name") == content);
  EXPECT_EQ(tree.read("ordinary"), "as it is");
  EXPECT_EQ(tree.read("surplus.appended"), "mine");
  for (const char* name : {"surplus.appended.1", "again.appended", "lost surplus.appended"}) {
    EXPECT_EQ(tree.read(name), "more") << name;
  }
  EXPECT_EQ(tree.read(longAppended), "more");
  EXPECT_FALSE(tree.exists("again.appended.1"));

  const Restored repeated = restore(tree);
  EXPECT_TRUE(repeated.events.empty());
}

TEST(VolumeRestoreTests, BringsEveryCaseBackThatCanBe) {
  bringBackEveryCase();
}

// Permissions bind: among the cases is a file that its owner made read-only.
TEST(VolumeRestoreTests, DoesSoForAnOrdinaryUser) {
  const OrdinaryUser user;
  if (!user.isOrdinary()) GTEST_SKIP() << "cannot become an ordinary user";
  bringBackEveryCase();
}

TEST(VolumeRestoreTests, LeavesUntouchedWhatItCannotBringBack) {
  const SourceTree tree;
  const std::string content = SourceTree::content(150'000, 8);
  const auto add = [&](const char* name) { tree.writeContainer(name, content); };
  add("cut");
  tree.truncate("cut", 140'000);
  add("bit");
  tree.flipBit("bit", 100'000);
  add("bit and surplus");
  tree.flipBit("bit and surplus", 100'000);
  tree.append("bit and surplus", "more");
  add("lost and bit");
  tree.flipBit("lost and bit", 100'000);
  tree.removeState("lost and bit");
  add("lost and cut");
  tree.truncate("lost and cut", 140'000);
  tree.removeState("lost and cut");
  add("no copy");
  ContainerState state = tree.state("no copy");
  state.redoIdentifier = 99;
  tree.writeState("no copy", state);
  // The only content of a file that was moved away meanwhile.
  tree.makeFolder(".quillbrook-volume/redo");
  tree.write(".quillbrook-volume/redo/5", content);
  const FileDescriptor copy(::open(tree.path(".quillbrook-volume/redo/5").c_str(), O_RDWR));
  const RedoRecord movedAway{.device = 1, .inode = 1, .mode = 0600, .capability = {}, .path = {}};
  ASSERT_TRUE(movedAway.write(copy.get()).has_value());
  const std::vector<std::string> names{"cut", "bit", "bit and surplus", "lost and bit", "lost and cut", "no copy"};
  std::map<std::string, std::string> bytes;
  for (const std::string& name : names) bytes[name] = tree.read(name);

  const Restored restored = restore(tree);
  for (const std::string& name : names) {
    EXPECT_EQ(restored.events.count(name), 1U) << name;
    EXPECT_TRUE(tree.read(name) == bytes[name]) << name;
    EXPECT_EQ(tree.hasState(name), !name.starts_with("lost")) << name;
    EXPECT_FALSE(tree.exists(name + ".appended")) << name;
  }
  EXPECT_EQ(restored.events.count(".quillbrook-volume/redo/5"), 1U);
  EXPECT_TRUE(tree.read(".quillbrook-volume/redo/5") == content);
  EXPECT_EQ(restored.result.failed, names.size() + 1);
  EXPECT_EQ(restored.result.restored, 0U);
}

TEST(VolumeRestoreTests, RefusesWhileADaemonLives) {
  const SourceTree tree;
  tree.writeContainer("file", "content");
  tree.makeFolder(".quillbrook-volume");
  tree.write(".quillbrook-volume/lock", "");
  const FileDescriptor lock(::open(tree.path(".quillbrook-volume/lock").c_str(), O_RDWR));
  ASSERT_EQ(::flock(lock.get(), LOCK_EX), 0);
  const auto refused = VolumeRestore::restore(tree.folder(), [](const RestoreEvent&) { ADD_FAILURE(); });
  ASSERT_FALSE(refused.has_value());
  EXPECT_TRUE(std::holds_alternative<VolumeErrors::Served>(refused.error()));
  EXPECT_TRUE(tree.hasState("file"));
}

// Killed again and again at other moments, a restore that is let go to the end has every byte.
TEST(VolumeRestoreTests, MayBeKilledAtAnyMoment) {
  const unsigned seed = 4711;
  std::mt19937 random(seed);
  RecordProperty("seed", static_cast<int>(seed));
  const SourceTree tree;
  constexpr int fileCount = 12;
  const auto name = [](int i) { return "file " + std::to_string(i); };
  const auto content = [](int i) {
    return SourceTree::content(std::size_t{70'000} * static_cast<std::size_t>(i), static_cast<std::uint32_t>(i));
  };
  for (int round = 0; round < 6; ++round) {
    for (int i = 0; i < fileCount; ++i) {
      ::unlink(tree.path(name(i)).c_str());
      ::unlink(tree.path(name(i) + ".appended").c_str());
      tree.writeContainer(name(i), content(i));
      if (i % 3 == 1) tree.removeState(name(i));
      if (i % 3 == 2) tree.append(name(i), "surplus");
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
    EXPECT_EQ(restore(tree).result.failed, 0U);
    for (int i = 0; i < fileCount; ++i) {
      EXPECT_TRUE(tree.read(name(i)) == content(i)) << name(i) << ", round " << round;
      EXPECT_FALSE(tree.hasState(name(i)));
      EXPECT_EQ(tree.read(name(i) + ".appended"), i % 3 == 2 ? "surplus" : "") << name(i);
      EXPECT_FALSE(tree.exists(name(i) + ".appended.1")) << name(i);
    }
    EXPECT_FALSE(tree.exists(".quillbrook-volume"));
  }
}

}  // namespace
}  // namespace quillbrook
