// SPDX-License-Identifier: MIT
#include <sqlite3.h>
#include <sys/stat.h>

#include "CommandLineFixture.h"
#include "Support/OrdinaryUser.h"

namespace quillbrook {
namespace {

using testing::HasSubstr;
using testing::Not;

class RegistryTest : public CommandLineTest {
 protected:
  // The figures of the one place of `list --json` that lies there.
  Json place(std::string_view name) {
    EXPECT_EQ(run({"list", "--json"}), 0) << err.str();
    return object(std::string(name));
  }
};

TEST_F(RegistryTest, EachPlaceIsRegisteredOnceAndLeavesAsItCame) {
  tree.write("folder/sub/a.txt", ScratchFolder::prose(20'000));
  tree.write("folder/b.txt", "small");
  tree.write("one.txt", ScratchFolder::prose(5'000));
  EXPECT_EQ(run({"add", at("folder/"), at("folder/../folder"), at("folder/sub"), at("one.txt"), "--json"}), 0);
  const auto lines = objects();
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0], Json({{"type", "registration"},
                            {"path", at("folder")},
                            {"outcome", "done"},
                            {"decision", "willRegister"},
                            {"kind", "folder"},
                            {"includeSubfolders", true}}));
  EXPECT_EQ(lines[1]["decision"], "skipDuplicate");
  EXPECT_EQ(lines[2]["decision"], "skipChildOfRegistered");
  EXPECT_EQ(lines[2]["registered"], at("folder"));
  EXPECT_EQ(lines[3]["includeSubfolders"], false) << "a file has none";

  EXPECT_EQ(run({"compress", at("folder/sub/a.txt")}), 0);
  const Json folder = place("folder");
  EXPECT_EQ(folder["registeredAt"], "2023-11-14T22:13:20.123456Z");
  EXPECT_EQ(folder["files"], 2);
  EXPECT_EQ(folder["compressed"], 1);
  EXPECT_EQ(folder["compressable"], 0);
  EXPECT_EQ(folder["logicalSize"], 20'005);
  EXPECT_GT(folder["saved"], 0);
  EXPECT_EQ(place("one.txt")["compressable"], 1);

  EXPECT_EQ(run({"remove", at("folder/"), folder["id"], at("nothing")}), 3);
  EXPECT_THAT(err.str(), HasSubstr("nothing: it is not registered"));
  EXPECT_EQ(place("folder"), Json());
  EXPECT_NE(place("one.txt"), Json()) << "what was not named stays";
  EXPECT_TRUE(tree.exists("folder/sub/a.txt"));
}

TEST_F(RegistryTest, PlacesThatAreGoneAreShownAndCanBeRemoved) {
  for (const char* name : {"x/same.txt", "y/same.txt"}) {
    tree.write(name, "text");
    EXPECT_EQ(run({"add", at(name)}), 0);
    std::filesystem::remove(tree.at(name));
  }
  EXPECT_EQ(run({"list"}), 0);
  EXPECT_THAT(out.str(), HasSubstr("/__unresolved__/same.txt  (not to be found any more; id "));
  EXPECT_EQ(run({"remove", "/__unresolved__/same.txt"}), 3);
  EXPECT_THAT(err.str(), HasSubstr("several items have this name"));
  EXPECT_EQ(run({"list", "--json"}), 0);
  const auto lines = objects();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0]["resolved"], false);
  EXPECT_EQ(lines[0]["files"], nullptr);
  EXPECT_EQ(run({"remove", lines[0]["id"]}), 0);
  EXPECT_EQ(run({"remove", "/__unresolved__/same.txt"}), 0) << "it is the only one now";
}

TEST_F(RegistryTest, WhatCannotBeRegisteredIsToldOneByOne) {
  tree.write("good.txt", "text");
  tree.write("home/Dropbox/c.txt", "text");
  const std::string odd = "line\nfeed \xff.txt";
  tree.write(odd, "text");
  EXPECT_EQ(run({"add", at("gone"), at("good.txt/below"), at("home/Dropbox/c.txt"), at("good.txt"), at(odd)}), 3);
  EXPECT_THAT(err.str(), HasSubstr("gone: nothing is there"));
  EXPECT_THAT(err.str(), HasSubstr("good.txt/below: nothing is there"));
  EXPECT_THAT(err.str(), HasSubstr("Dropbox 配下を登録しようとしています"));
  EXPECT_THAT(err.str(), HasSubstr("  • クラウド側は 非圧縮 のままなので"));
  EXPECT_THAT(err.str(), HasSubstr("--yes"));
  EXPECT_EQ(run({"list", "--json"}), 0);
  EXPECT_EQ(objects().size(), 2U) << out.str();
  EXPECT_EQ(object(odd)["pathBase64"].is_string(), true);
}

// What the text of a path says is not always where it leads.
TEST_F(RegistryTest, LinksAreNotTakenForWhatTheyLeadTo) {
  tree.write("d/bar/wrong", "text");
  tree.write("bar/right", "text");
  tree.makeFolder("e");
  std::filesystem::create_symlink(tree.at("e"), tree.at("d/up"));
  EXPECT_EQ(run({"add", at("d/up/../bar")}), 0);
  EXPECT_THAT(out.str(), HasSubstr("registered " + at("bar") + " "));
  EXPECT_EQ(run({"add", at("d/up"), "--json"}), 0) << "a link to a folder is a place of its own";
  EXPECT_EQ(objects().front()["kind"], "folder");
  std::filesystem::create_symlink(tree.at("bar/right"), tree.at("link"));
  std::filesystem::create_symlink(tree.at("nowhere"), tree.at("broken"));
  ASSERT_EQ(mkfifo(tree.at("fifo").c_str(), 0600), 0);
  EXPECT_EQ(run({"add", at("link"), at("fifo"), at("broken")}), 3);
  EXPECT_THAT(err.str(), HasSubstr("broken: nothing is there"));
  EXPECT_THAT(err.str(), HasSubstr("link: it is a symbolic link"));
  EXPECT_THAT(err.str(), HasSubstr("fifo: it is neither a file nor a folder"));
  tree.write("home/Dropbox/c.txt", "text");
  std::filesystem::create_symlink(tree.at("home/Dropbox"), tree.at("cloud"));
  EXPECT_EQ(run({"add", at("cloud/c.txt")}), 3);
  EXPECT_THAT(err.str(), HasSubstr("Dropbox 配下を登録しようとしています: " + at("cloud/c.txt")));
}

TEST_F(RegistryTest, APlaceThatWasRegisteredTwiceGoesAtOnce) {
  for (const char* name : {"a", "b"}) {
    tree.makeFolder(name);
    EXPECT_EQ(run({"add", at(name)}), 0);
  }
  std::filesystem::remove(tree.at("b"));
  std::filesystem::rename(tree.at("a"), tree.at("b"));
  EXPECT_EQ(run({"remove", at("b"), at("b"), "--json"}), 0);
  EXPECT_EQ(objects().size(), 2U);
  EXPECT_EQ(run({"list", "--json"}), 0);
  EXPECT_EQ(out.str(), "");
}

TEST_F(RegistryTest, ACloudServicesPlaceIsAskedFor) {
  tree.write("home/Dropbox/c.txt", "text");
  isTerminal = true;
  std::string answer = "n";
  readLine = [&](const std::stop_token&) -> std::optional<std::string> { return answer; };
  EXPECT_EQ(run({"add", at("home/Dropbox/c.txt")}), 0);
  EXPECT_THAT(err.str(), HasSubstr("それでも登録"));
  EXPECT_THAT(out.str(), HasSubstr("as it was not wanted"));
  answer = "y";
  EXPECT_EQ(run({"add", at("home/Dropbox/c.txt")}), 0);
  EXPECT_THAT(out.str(), HasSubstr("registered "));
  readLine = nullptr;
  EXPECT_EQ(run({"add", "--yes", at("home/Dropbox")}), 0) << "without a question";
  EXPECT_EQ(err.str(), "");
}

TEST_F(RegistryTest, AStoreThatIsLockedOrDamagedIsToldAndLeftAlone) {
  tree.write("a.txt", "text");
  EXPECT_EQ(run({"add", at("a.txt")}), 0);
  {
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(store.at("store.sqlite").c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    tree.write("b.txt", "text");
    EXPECT_EQ(run({"add", at("b.txt"), at("a.txt")}), 1);
    EXPECT_THAT(err.str(), HasSubstr("b.txt: "));
    EXPECT_THAT(err.str(), Not(HasSubstr("a.txt"))) << "nothing is tried behind a failed store";
    sqlite3_close(other);
  }
  EXPECT_EQ(run({"list", "--json"}), 0);
  EXPECT_EQ(objects().size(), 1U);
  store.write("store.sqlite", "no database");
  EXPECT_EQ(run({"list"}), 1);
  EXPECT_EQ(run({"add", at("a.txt")}), 1);
  EXPECT_EQ(run({"remove", at("a.txt")}), 1);
  EXPECT_EQ(store.read("store.sqlite"), "no database");
}

TEST_F(RegistryTest, WhatCannotBeReachedIsNotGone) {
  const OrdinaryUser user;
  if (!user.isOrdinary()) GTEST_SKIP() << "cannot become an ordinary user";
  const ScratchFolder own;
  const ScratchFolder ownStore;
  openStore = [&] { return makeStoreContainer(ownStore.path("store.sqlite")); };
  own.write("closed/file", "text");
  own.makeFolder("secret");
  EXPECT_EQ(run({"add", own.path("closed/file").bytes(), own.path("secret").bytes()}), 0) << err.str();
  EXPECT_EQ(::chmod(own.at("closed").c_str(), 0), 0);
  EXPECT_EQ(::chmod(own.at("secret").c_str(), 0), 0);
  EXPECT_EQ(run({"list"}), 3);
  EXPECT_THAT(out.str(), HasSubstr("cannot be reached for now, see to its volume: Permission denied; id "));
  EXPECT_THAT(out.str(), HasSubstr("secret  (it may not be read; see to its permissions: Permission denied)"));
  EXPECT_EQ(::chmod(own.at("closed").c_str(), 0700), 0);
  EXPECT_EQ(::chmod(own.at("secret").c_str(), 0700), 0);
}

TEST_F(RegistryTest, AStoppedCommandEndsWithItsSignal) {
  tree.write("a.txt", "text");
  EXPECT_EQ(run({"add", at("a.txt")}), 0);
  stopWith(2);
  for (const Strings& arguments :
       std::vector<Strings>{{"add", at("a.txt")}, {"list"}, {"search", at(".")}, {"count", at(".")}}) {
    EXPECT_EQ(run(arguments), 130) << arguments.front();
  }
}

}  // namespace
}  // namespace quillbrook
