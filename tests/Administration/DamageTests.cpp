// SPDX-License-Identifier: MIT
// What can befall compressed files while no volume shows them: what a check tells of it, and what a restore makes of
// it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "OrdinaryUser.h"
#include "Platform/Linux/FileDescriptor.h"
#include "SourceTree.h"
#include "Volume/Administration/VolumeCheck.h"
#include "Volume/Administration/VolumeRestore.h"
#include "Volume/Expansion/RedoRecord.h"

namespace quillbrook {
namespace {

using Tree = SourceTree;
using Kind = CheckFinding::Kind;

constexpr const char* failed = "failed";
constexpr const char* leftAlone = "left alone";

struct Case {
  std::string name;
  std::vector<Tree::Mishap> mishaps;
  std::optional<Kind> finding;
  std::string restored;  // empty: its content is back; else one of the above, or where what was appended is kept
  std::uint32_t redoIdentifier = 0;
};

const std::vector<Case>& cases() {
  static const std::string longName = std::string(250, 'n') + "\xC3\xA4\xC3\xA4";
  static const std::vector<Case> all{
      {"whole", {}, std::nullopt, ""},
      {"folder/linked", {}, std::nullopt, ""},
      {"read-only", {}, std::nullopt, ""},
      {"bit", {&Tree::flipBit}, Kind::damagedContainer, failed},
      {"bit and surplus", {&Tree::flipBit, &Tree::appendMore}, Kind::damagedContainer, failed},
      {"trailer bit", {&Tree::flipTrailerBit}, Kind::damagedContainer, ""},  // its content is all there
      {"cut", {&Tree::cutShort}, Kind::cutShort, failed},
      {"lost", {&Tree::loseState}, Kind::attributeMissing, ""},
      {"lost, bit", {&Tree::loseState, &Tree::flipBit}, Kind::damagedContainer, failed},
      {"lost, cut", {&Tree::loseState, &Tree::cutShort}, Kind::trailerMissing, failed},
      {"lost, surplus", {&Tree::loseState, &Tree::appendMore}, Kind::attributeMissing, "lost, surplus.appended"},
      {"garbled", {&Tree::garbleState}, Kind::damagedState, ""},
      {"garbled, cut", {&Tree::garbleState, &Tree::cutShort}, Kind::damagedState, failed},
      {"surplus", {&Tree::appendMore}, Kind::surplusBytes, "surplus.appended.1"},
      {"again", {&Tree::appendMore}, Kind::surplusBytes, "again.appended"},
      {longName, {&Tree::appendMore}, Kind::surplusBytes, std::string(246, 'n') + ".appended"},
      {"interrupted", {}, Kind::interruptedExpansion, "", 17},
      {"no copy", {}, Kind::redoCopyMissing, failed, 18},
      {"short copy", {}, Kind::redoCopyMissing, failed, 19},
      {"work.slimtmp", {}, Kind::workFile, leftAlone},
  };
  return all;
}
constexpr const char* movedAwayCopy = ".quillbrook-volume/redo/5";
constexpr const char* unfinishedCopy = ".quillbrook-volume/redo/20";

// A redo copy of that content, made for the file.
void writeCopy(const Tree& tree, const std::string& name, const std::string& content, const RedoRecord& record) {
  tree.write(name, content);
  const FileDescriptor copy(::open(tree.at(name).c_str(), O_RDWR));
  ASSERT_TRUE(record.write(copy.get()).has_value());
}

void makeCases(const Tree& tree, const std::string& content) {
  for (const Case& c : cases()) {
    tree.writeContainer(c.name, content, c.mishaps);
    if (c.redoIdentifier != 0) tree.setRedoIdentifier(c.name, c.redoIdentifier);
  }
  std::filesystem::create_hard_link(tree.at("folder/linked"), tree.at("folder/second name"));
  std::filesystem::permissions(tree.at("read-only"), std::filesystem::perms::owner_read);
  ASSERT_EQ(::setxattr(tree.at("work.slimtmp").c_str(), "user.com.studiomerlin.quillbrook.slimtmp", "\1", 1, 0), 0);
  const FileDescriptor folder(::open(tree.folder().c_str(), O_RDONLY | O_DIRECTORY));
  const FileDescriptor interrupted(::open(tree.at("interrupted").c_str(), O_RDWR));
  const auto record = RedoRecord::of(folder.get(), interrupted.get());
  ASSERT_TRUE(record.has_value());
  writeCopy(tree, ".quillbrook-volume/redo/17", content, *record);
  tree.flipBit("interrupted");  // the rewrite had begun
  tree.write(".quillbrook-volume/redo/19", content.substr(1));
  writeCopy(tree, movedAwayCopy, content, {.device = 1, .inode = 1, .mode = 0600, .capability = {}, .path = {}});
  tree.write(unfinishedCopy, content);

  tree.write("surplus.appended", "mine");
  tree.write("again.appended", "more");  // an earlier run was stopped right behind it
  for (const char* name : {"ordinary", "name \xFF\n", "flags", "foreign.slimtmp"}) tree.write(name, content);
  tree.setState("flags", {.st_flags = UF_NODUMP, .creationTime = std::nullopt});
  std::filesystem::create_symlink("whole", tree.at("link"));
  ASSERT_EQ(::mkfifo(tree.at("fifo").c_str(), 0600), 0);
}

void expectFindings(const Tree& tree, std::size_t contentByteCount) {
  std::map<std::string, Kind> expected{{movedAwayCopy, Kind::orphanRedoCopy}, {unfinishedCopy, Kind::orphanRedoCopy}};
  for (const Case& c : cases()) {
    if (c.finding) expected[c.name] = *c.finding;
  }
  std::map<std::string, Kind> findings;
  const auto checked = VolumeCheck::check(tree.folder(), [&](const CheckFinding& finding) {
    const std::string name = finding.path.bytes().substr(tree.folder().bytes().size() + 1);
    EXPECT_TRUE(findings.emplace(name, finding.kind).second) << name << " told twice";
  });
  ASSERT_TRUE(checked.has_value()) << sentence(checked.error());
  EXPECT_EQ(findings, expected);
  EXPECT_EQ(checked->files, cases().size() + 6) << "two are called .appended, four are ordinary";
  EXPECT_EQ(checked->damaged, 15U);
  EXPECT_EQ(checked->notes, 4U);
  EXPECT_EQ(checked->unreadable, 0U);
  // Those whose content is all there, if only in the redo copy.
  EXPECT_EQ(checked->logicalBytes, 10 * contentByteCount);
}

// What is told of each file: nothing, that it failed, or the name of what was appended.
std::map<std::string, std::string> restore(const Tree& tree, bool isFirst) {
  std::map<std::string, std::string> events;
  const std::size_t prefix = tree.folder().bytes().size() + 1;
  const auto result = VolumeRestore::restore(tree.folder(), [&](const RestoreEvent& event) {
    const bool isFailed = event.outcome == RestoreEvent::Outcome::failed;
    const std::string appended = event.appended ? event.appended->bytes().substr(prefix) : "";
    std::string name = event.path.bytes().substr(prefix);
    if (name == "folder/second name") name = "folder/linked";  // either may be the first
    EXPECT_TRUE(events.emplace(name, isFailed ? failed + appended : appended).second) << name;
    EXPECT_EQ(event.detail.empty(), !isFailed) << event.detail;
  });
  EXPECT_TRUE(result.has_value()) << sentence(result.error());
  if (result) {
    EXPECT_EQ(result->restored, isFirst ? 11U : 0U);
    EXPECT_EQ(result->failed, 9U);
  }
  return events;
}

void meetEveryCase() {
  const Tree tree;
  const std::string content = Tree::prose(150'000);
  makeCases(tree, content);
  expectFindings(tree, content.size());
  expectFindings(tree, content.size());  // the first changed nothing

  std::map<std::string, std::filesystem::file_time_type> times;
  std::map<std::string, std::string> bytes;
  for (const Case& c : cases()) {
    times[c.name] = std::filesystem::last_write_time(tree.at(c.name));
    bytes[c.name] = tree.read(c.name);
  }
  auto events = restore(tree, true);
  EXPECT_EQ(events.size(), 20U);
  EXPECT_EQ(events[movedAwayCopy], failed);
  EXPECT_EQ(tree.read(movedAwayCopy), content) << "the only content of a file that was moved away meanwhile";
  EXPECT_FALSE(tree.exists(unfinishedCopy));
  for (const Case& c : cases()) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(events.contains(c.name) ? events[c.name] : leftAlone, c.restored);
    if (c.restored == failed || c.restored == leftAlone) {
      EXPECT_TRUE(tree.read(c.name) == bytes[c.name]);
      EXPECT_FALSE(tree.exists(c.name + ".appended"));
      continue;
    }
    EXPECT_TRUE(tree.read(c.name) == content);
    EXPECT_FALSE(tree.isCompressed(c.name));
    EXPECT_EQ(std::filesystem::last_write_time(tree.at(c.name)),
              times[c.restored.empty() && c.name != "trailer bit" ? "whole" : c.name]);
    if (!c.restored.empty()) {
      EXPECT_EQ(tree.read(c.restored), "more");
    }
  }
  EXPECT_EQ(std::filesystem::status(tree.at("read-only")).permissions(), std::filesystem::perms::owner_read);
  EXPECT_EQ(tree.read("surplus.appended"), "mine");
  EXPECT_FALSE(tree.exists("again.appended.1"));
  for (const char* name : {"folder/second name", "ordinary", "name \xFF\n", "flags", "foreign.slimtmp"}) {
    EXPECT_TRUE(tree.read(name) == content) << name;
  }
  EXPECT_EQ(restore(tree, false).size(), 9U) << "what failed fails again, and nothing else is told";
}

TEST(DamageTests, EachIsToldAndWhatCanBeIsBroughtBack) {
  meetEveryCase();
}

// Permissions bind: among the cases is a file that its owner made read-only.
TEST(DamageTests, ForAnOrdinaryUserAsWell) {
  const OrdinaryUser user;
  if (!user.isOrdinary()) GTEST_SKIP() << "cannot become an ordinary user";
  meetEveryCase();
}

TEST(VolumeCheckTests, StopsAndRefuses) {
  const SourceTree tree;
  tree.write("file", "content");
  const std::stop_source stop;
  ASSERT_TRUE(stop.request_stop());
  const auto ignore = [](const CheckFinding&) {};
  EXPECT_TRUE(VolumeCheck::check(tree.folder(), ignore, stop.get_token()) ==
              std::unexpected(VolumeError(VolumeErrors::Stopped{})));
  for (const char* name : {"file", "nothing/deeper"}) {
    const auto refused = VolumeCheck::check(tree.path(name), ignore);
    ASSERT_FALSE(refused.has_value()) << name;
    EXPECT_TRUE(std::holds_alternative<VolumeErrors::NotAFolder>(refused.error())) << name;
  }
}

TEST(VolumeRestoreTests, RefusesWhileADaemonLives) {
  const Tree tree;
  tree.writeContainer("file", Tree::prose(20'000));
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
  const Tree tree;
  const std::vector<std::vector<Tree::Mishap>> mishaps{{}, {&Tree::loseState}, {&Tree::appendMore}};
  const auto name = [](unsigned i) { return "file " + std::to_string(i); };
  const auto content = [](unsigned i) { return Tree::prose(std::size_t{70'000} * (i + 1), i); };
  for (unsigned round = 0; round < 6; ++round) {
    for (unsigned i = 0; i < 12; ++i) {
      std::filesystem::remove(tree.at(name(i) + ".appended"));
      tree.writeContainer(name(i), content(i), mishaps[i % 3]);
    }
    for (unsigned kill = 0; kill < 12; ++kill) {
      const pid_t child = ::fork();
      ASSERT_GE(child, 0);
      if (child == 0) {
        const auto result = VolumeRestore::restore(tree.folder(), [](const RestoreEvent&) {});
        ::_exit(result && result->failed == 0 ? 0 : 1);
      }
      std::this_thread::sleep_for(std::chrono::microseconds((12 * round + kill) * 2'654'435'761U % 30'000));
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
