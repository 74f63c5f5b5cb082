// SPDX-License-Identifier: MIT
// What can befall compressed files while no volume shows them: what a check tells of it, and what a restore makes of
// it.

#include "Platform/Linux/FileDescriptor.h"
#include "SourceTree.h"
#include "Support/OrdinaryUser.h"
#include "Volume/Administration/RestoredFile.h"
#include "Volume/Administration/VolumeCheck.h"
#include "Volume/Administration/VolumeRestore.h"

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
      {"buried", {&Tree::buryState}, Kind::attributeMissing, ""},
      {"garbled", {&Tree::garbleState}, Kind::damagedState, ""},
      {"garbled, cut", {&Tree::garbleState, &Tree::cutShort}, Kind::damagedState, failed},
      {"surplus", {&Tree::appendMore}, Kind::surplusBytes, "surplus.appended.1"},
      {"again", {&Tree::appendMore}, Kind::surplusBytes, "again.appended"},
      {longName, {&Tree::appendMore}, Kind::surplusBytes, std::string(246, 'n') + ".appended"},
      {"interrupted", {}, Kind::interruptedExpansion, "", 17},
      {"no copy", {}, Kind::redoCopyMissing, failed, 18},
      {"short copy", {}, Kind::redoCopyMissing, failed, 19},
      {"interrupted, lost", {&Tree::loseState}, Kind::differsFromRedoCopy, failed},
      {"future", {&Tree::becomeFuture}, Kind::unsupportedType, failed},
      {"placeholder", {&Tree::becomePlaceholder}, Kind::datalessCloud, failed},
      {"work.slimtmp", {}, Kind::workFile, leftAlone},
  };
  return all;
}
constexpr const char* movedAwayCopy = ".quillbrook-volume/redo/5";
constexpr const char* unfinishedCopy = ".quillbrook-volume/redo/20";

void makeCases(const Tree& tree, const std::string& content) {
  for (const Case& c : cases()) {
    tree.writeContainer(c.name, content, c.mishaps);
    if (c.redoIdentifier != 0) tree.setRedoIdentifier(c.name, c.redoIdentifier);
  }
  std::filesystem::create_hard_link(tree.at("folder/linked"), tree.at("folder/second name"));
  std::filesystem::permissions(tree.at("read-only"), std::filesystem::perms::owner_read);
  ASSERT_EQ(::setxattr(tree.at("work.slimtmp").c_str(), "user.com.studiomerlin.quillbrook.slimtmp", "\1", 1, 0), 0);
  tree.writeRedoCopy(".quillbrook-volume/redo/17", content, tree.redoRecord("interrupted"));
  tree.flipBit("interrupted");  // the rewrite had begun
  tree.write(".quillbrook-volume/redo/19", content.substr(1));
  // Half rewritten: neither the container nor the content, and nothing tells so but the copy.
  tree.write("interrupted, lost", content.substr(0, 4096) + std::string(content.size() - 4096, '\0'));
  tree.writeRedoCopy(".quillbrook-volume/redo/21", content, tree.redoRecord("interrupted, lost"));
  tree.writeRedoCopy(movedAwayCopy, content, {.inode = 1, .kept = {.mode = 0600, .capability = {}}, .path = {}});
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
  EXPECT_EQ(checked->damaged, 18U);
  EXPECT_EQ(checked->notes, 5U);
  EXPECT_EQ(checked->unreadable, 0U);
  // Those whose content is all there, if only in the redo copy.
  EXPECT_EQ(checked->logicalBytes, 11 * contentByteCount);
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
    const bool isSound = name == "future" || name == "placeholder";
    EXPECT_FALSE(isSound && event.detail.contains("damaged")) << event.detail;
  });
  EXPECT_TRUE(result.has_value()) << sentence(result.error());
  if (result) {
    EXPECT_EQ(result->restored, isFirst ? 12U : 0U);
    EXPECT_EQ(result->failed, 12U);
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
  EXPECT_EQ(events.size(), 24U);
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
  EXPECT_EQ(restore(tree, false).size(), 12U) << "what failed fails again, and nothing else is told";
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

// A copy that no state names, made for a file whose own state cannot be read, may be the only content that it has.
TEST(VolumeRestoreTests, KeepsACopyWhoseFileCannotBeUnderstood) {
  constexpr const char* copy = ".quillbrook-volume/redo/12345";
  struct Obstacle {
    const char* name;
    std::function<bool(const Tree&)> place;  // false: only root can
    std::function<void(const Tree&)> remove;
    Kind finding;
  };
  ContainerState sealed;
  const std::vector<Obstacle> obstacles{
      {"damaged state",
       [&](const Tree& tree) {
         sealed = tree.state("file").value_or(ContainerState{});
         tree.garbleState("file");
         return true;
       },
       [&](const Tree& tree) { tree.setState("file", sealed); }, Kind::damagedContainer},
      {"somebody else's",
       [](const Tree& tree) {
         std::filesystem::permissions(tree.at("file"), std::filesystem::perms::none);
         return ::chown(tree.at("file").c_str(), 1, 1) == 0;
       },
       [](const Tree& tree) {
         std::filesystem::permissions(tree.at("file"), std::filesystem::perms::owner_all);
         ASSERT_EQ(::chown(tree.at("file").c_str(), 65'534, 65'534), 0);
       },
       Kind::unreadable},
  };
  for (const Obstacle& obstacle : obstacles) {
    SCOPED_TRACE(obstacle.name);
    const Tree tree;
    const std::string content = Tree::prose(150'000);
    tree.writeContainer("file", content);
    tree.setRedoIdentifier("file", 12'345);
    tree.writeRedoCopy(copy, content, tree.redoRecord("file"));
    tree.flipBit("file");
    if (!obstacle.place(tree)) {
      std::cout << "SKIPPED: only root can give a file away\n";
      continue;
    }
    {
      std::optional<OrdinaryUser> user;
      if (obstacle.finding == Kind::unreadable) {
        std::filesystem::permissions(tree.folder().bytes(), std::filesystem::perms::all);
        for (const char* place : {".quillbrook-volume", ".quillbrook-volume/redo", copy}) {
          ASSERT_EQ(::chown(tree.at(place).c_str(), 65'534, 65'534), 0);
        }
        user.emplace();
      }
      std::vector<Kind> findings;
      const auto checked =
          VolumeCheck::check(tree.folder(), [&](const CheckFinding& finding) { findings.push_back(finding.kind); });
      EXPECT_TRUE(checked.has_value());
      EXPECT_EQ(findings, std::vector{obstacle.finding}) << "a copy that may be content is not left over";
      std::string detail;
      const auto result =
          VolumeRestore::restore(tree.folder(), [&](const RestoreEvent& event) { detail += event.detail; });
      ASSERT_TRUE(result.has_value()) << sentence(result.error());
      EXPECT_EQ(result->failed, 1U);
      EXPECT_TRUE(detail.contains(tree.at(copy))) << detail;
    }
    ASSERT_TRUE(tree.read(copy) == content);
    obstacle.remove(tree);
    // Root obeys no private folder of somebody else.
    for (const char* place : {".quillbrook-volume", ".quillbrook-volume/redo"}) {
      ASSERT_EQ(::chown(tree.at(place).c_str(), ::geteuid(), ::getegid()), 0);
    }
    const auto result = VolumeRestore::restore(tree.folder(), [](const RestoreEvent&) {});
    ASSERT_TRUE(result.has_value()) << sentence(result.error());
    EXPECT_TRUE(tree.read("file") == content);
    EXPECT_FALSE(tree.exists(".quillbrook-volume"));
  }
}

TEST(VolumeRestoreTests, EmptiesWhatWasBeingEmptied) {
  const Tree tree;
  tree.writeContainer("f", Tree::prose(150'000), {});
  tree.setState("f", {.valueByteCount = 16, .creationTime = std::nullopt});
  const auto expectFindings = [&](const std::vector<Kind>& expected) {
    std::vector<Kind> findings;
    const auto note = [&](const CheckFinding& finding) { findings.push_back(finding.kind); };
    ASSERT_TRUE(VolumeCheck::check(tree.folder(), note));
    EXPECT_EQ(findings, expected);
  };
  expectFindings({Kind::interruptedExpansion});
  const auto result = VolumeRestore::restore(tree.folder(), [](const RestoreEvent&) {});
  ASSERT_TRUE(result);
  EXPECT_EQ(result->restored, 1U);
  EXPECT_EQ(tree.read("f"), "");
  expectFindings({});
}

TEST(VolumeCheckTests, StopsAndRefuses) {
  const SourceTree tree;
  tree.write("file", "content");
  const std::stop_source stop;
  ASSERT_TRUE(stop.request_stop());
  const auto ignore = [](const CheckFinding&) {};
  EXPECT_TRUE(isRefusedAs<VolumeErrors::Stopped>(VolumeCheck::check(tree.folder(), ignore, stop.get_token())));
  // The empty one is no name for the current folder.
  for (const FilePath& folder : {tree.path("file"), tree.path("nothing"), tree.path("nothing/deeper"), FilePath()}) {
    EXPECT_TRUE(isRefusedAs<VolumeErrors::NotAFolder>(VolumeCheck::check(folder, ignore))) << folder.bytes();
    const auto restored = VolumeRestore::restore(folder, [](const RestoreEvent&) {});
    EXPECT_TRUE(isRefusedAs<VolumeErrors::NotAFolder>(restored)) << folder.bytes();
  }
}

TEST(VolumeRestoreTests, RefusesWhileADaemonLives) {
  const Tree tree;
  tree.writeContainer("file", Tree::prose(20'000));
  tree.write(".quillbrook-volume/lock", "");
  const FileDescriptor lock(::open(tree.at(".quillbrook-volume/lock").c_str(), O_RDWR));
  ASSERT_EQ(::flock(lock.get(), LOCK_EX), 0);
  EXPECT_TRUE(isRefusedAs<VolumeErrors::Ending>(
      VolumeRestore::restore(tree.folder(), [](const RestoreEvent&) { ADD_FAILURE(); })));
  EXPECT_TRUE(tree.isCompressed("file"));
}

TEST(VolumeRestoreTests, AStopLeavesTheFileInHandAsItWas) {
  const Tree tree;
  const FileDescriptor source(::open(tree.folder().c_str(), O_RDONLY | O_DIRECTORY));
  tree.makeFolder(".quillbrook-volume");
  const FileDescriptor privateFolder(::open(tree.at(".quillbrook-volume").c_str(), O_RDONLY | O_DIRECTORY));
  const std::stop_source stop;
  ASSERT_TRUE(stop.request_stop());
  for (const std::vector<Tree::Mishap>& mishaps :
       std::vector<std::vector<Tree::Mishap>>{{}, {&Tree::loseState}, {&Tree::appendMore}}) {
    tree.writeContainer("file", Tree::prose(150'000), mishaps);
    const std::string bytes = tree.read("file");
    struct stat status{};
    ASSERT_EQ(::stat(tree.at("file").c_str(), &status), 0);
    const FilePath path = tree.path("file");
    const auto restored = RestoredFile::restore(
        source.get(), privateFolder.get(), {.folder = source.get(), .name = "file", .path = path, .status = status},
        stop.get_token());
    ASSERT_TRUE(restored.has_value()) << restored.error().detail;
    EXPECT_EQ(restored->outcome, RestoredFile::Outcome::stopped);
    EXPECT_TRUE(tree.read("file") == bytes);
    EXPECT_FALSE(tree.exists("file.appended"));
  }
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
    std::string details;
    const auto result = VolumeRestore::restore(
        tree.folder(), [&](const RestoreEvent& event) { details += event.path.bytes() + ": " + event.detail + '\n'; });
    ASSERT_TRUE(result.has_value()) << sentence(result.error());
    EXPECT_EQ(result->failed, 0U) << details;
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
