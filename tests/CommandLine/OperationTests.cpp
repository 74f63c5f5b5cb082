// SPDX-License-Identifier: MIT

#include "CommandLine/Base64.h"
#include "CommandLineFixture.h"
#include "Support/FaultyFileSystem.h"

namespace quillbrook {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class OperationTest : public CommandLineTest {
 protected:
  void SetUp() override {
    tree.write("r/big.h", big);
    tree.write("r/sub/small.h", "tiny");
    tree.write("r/sub/text.TXT", ScratchFolder::prose(20'000));
  }
  // Every file of the folder as it lies on the disk.
  [[nodiscard]] std::map<std::string, std::string> contents() const {
    std::map<std::string, std::string> contents;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(tree.folder().bytes())) {
      const std::string name = std::filesystem::relative(entry.path(), tree.folder().bytes());
      if (entry.is_regular_file()) contents[name] = tree.read(name);
    }
    return contents;
  }
  const std::string big = ScratchFolder::prose(200'000);
  const std::string root = tree.at("r");
};

TEST_F(OperationTest, ManyWorkersGoThereAndBackAndCountEachFile) {
  for (int i = 0; i < 40; ++i) tree.write("r/many/" + std::to_string(i) + ".c", ScratchFolder::prose(30'000));
  const auto before = contents();
  EXPECT_EQ(run({"compress", "--jobs", "8", "--json", root}), 0) << err.str() << out.str();
  const std::string done =
      R"("type":"result","operation":"compress","path":".*/r/big.h","outcome":"done","error":null,)"
      R"("detail":null,"bytesBefore":200000,"bytesAfter":[0-9]{5},"algorithm":"lzfseRsrc")";
  EXPECT_THAT(object("r/big.h").dump(), MatchesRegex("\\{" + done + "\\}"));
  // The one that is not worth it is no file of the run.
  const std::string sums = R"("type":"summary","operation":"compress","files":42,"done":42,"skipped":0,"failed":0,)"
                           R"("bytesBefore":1420000,"bytesAfter":[0-9]+,"seconds":0.25)";
  EXPECT_THAT(objects().back().dump(), MatchesRegex("\\{" + sums + "\\}"));
  int bytesAfter = 0;
  for (const Json& line : objects()) bytesAfter += line["type"] == "result" ? line["bytesAfter"].get<int>() : 0;
  EXPECT_EQ(objects().back()["bytesAfter"], bytesAfter);
  EXPECT_NE(contents(), before);

  EXPECT_EQ(run({"inspect", "--json", root}), 0);
  const std::string found = R"("type":"file","path":".*/r/big.h","status":"compressed","algorithm":"lzfseRsrc",)"
                            R"("logicalSize":200000,"physicalSize":[0-9]{5},"uncompressedSize":200000)";
  EXPECT_THAT(object("r/big.h").dump(), MatchesRegex("\\{" + found + "\\}"));
  EXPECT_EQ(object("r/sub/small.h")["status"], "incompressible");
  EXPECT_TRUE(object("r/sub/small.h")["uncompressedSize"].is_null());

  EXPECT_EQ(run({"compress", "--jobs", "8", "--json", root}), 0);
  EXPECT_EQ(object("r/big.h")["error"], "alreadyCompressed");
  EXPECT_EQ(object("r/big.h")["bytesAfter"], 200'000);
  EXPECT_EQ(objects().back()["skipped"], 42);
  EXPECT_EQ(objects().back()["bytesBefore"], 0) << "sums are over what was done";
  // Its size is told even if nothing else can be.
  FaultyFileSystem closed(CompressingFileSystem::instance(), [](const auto& call) {
    return call.operation == "getxattr" ? std::optional(ErrorNumber::inputOutput) : std::nullopt;
  });
  EXPECT_EQ(run({"compress", "--json", tree.at("r/big.h")}, closed), 0);
  EXPECT_EQ(object("r/big.h")["bytesBefore"], 200'000);

  EXPECT_EQ(run({"decompress", "--jobs", "8", "--json", root}), 0) << err.str() << out.str();
  EXPECT_EQ(objects().back()["done"], 42);
  EXPECT_TRUE(object("r/big.h")["algorithm"].is_null());
  EXPECT_EQ(contents(), before);
}

TEST_F(OperationTest, WhatIsNamedIsTriedAndWhatFailsIsToldInTheExitCode) {
  std::filesystem::create_symlink("big.h", tree.at("r/link"));
  tree.write("r/hard", big);
  std::filesystem::create_hard_link(tree.at("r/hard"), tree.at("r/harder"));
  struct Case {
    std::string verb, name;
    int exitCode;
    std::string outcome, error;
  };
  const std::vector<Case> cases{{"compress", "r/link", 0, "skipped", "symbolicLink"},
                                {"compress", "r/hard", 0, "skipped", "hardLinked"},
                                {"compress", "r/missing", 3, "failed", "fileNotFound"},
                                {"decompress", "r/big.h", 0, "skipped", "notCompressed"}};
  for (const auto& [verb, name, exitCode, outcome, error] : cases) {
    SCOPED_TRACE(testing::Message() << verb << ' ' << name);
    EXPECT_EQ(run({verb, "--json", tree.at(name)}), exitCode);
    EXPECT_EQ(object(name)["outcome"], outcome);
    EXPECT_EQ(object(name)["error"], error);
    EXPECT_NE(object(name)["detail"].get<std::string>(), "");
  }
}

TEST_F(OperationTest, NamesThatAreNotUtf8ComeWithTheirBytes) {
  const std::string odd = "r/\xff\n.h";
  tree.write(odd, big);
  for (const Strings& verb : {Strings{"compress", "--json"}, Strings{"inspect", "--json"}}) {
    EXPECT_EQ(run({verb[0], verb[1], tree.at(odd)}), 0);
    ASSERT_TRUE(object(odd).is_object()) << out.str();
    EXPECT_TRUE(object(odd)["path"].get<std::string>().ends_with("/r/\xef\xbf\xbd\n.h"));
    EXPECT_EQ(object(odd)["pathBase64"], Base64::text(tree.at(odd)));
  }
}

TEST_F(OperationTest, PeopleReadASummaryByKind) {
  tree.write("r/conflict.h", big);
  tree.write("r/conflict.h.slimtmp", "somebody else's");
  EXPECT_EQ(run({"compress", root}), 3);
  EXPECT_THAT(out.str(), HasSubstr("compressed 2 of 3 files in 0.2 s\n"));
  EXPECT_THAT(out.str(), testing::ContainsRegex("  \\.h +1 +200 kB"));
  EXPECT_THAT(out.str(), testing::ContainsRegex("  \\.txt +1 +20\\.0 kB"));
  EXPECT_THAT(out.str(), testing::ContainsRegex("  total +2 +220 kB"));
  EXPECT_THAT(out.str(), HasSubstr("failed: 1 file (the work file's name is taken: 1)\n"));
  EXPECT_THAT(out.str(), HasSubstr("passed over: 1 file "));
  EXPECT_THAT(err.str(), testing::StartsWith("quillbrookctl: cannot compress " + root + "/conflict.h: "));
  EXPECT_EQ(err.str().find('\x1b'), std::string::npos) << "no bar without a terminal";
  EXPECT_EQ(tree.read("r/conflict.h.slimtmp"), "somebody else's");

  EXPECT_EQ(run({"inspect", root, tree.at("r/missing")}), 3);
  EXPECT_THAT(out.str(), testing::ContainsRegex("compressed +lzfseRsrc +200 kB .*/r/big.h\n"));
  EXPECT_THAT(out.str(), testing::ContainsRegex("total +4 files +420 kB"));
  EXPECT_THAT(err.str(), HasSubstr(tree.at("r/missing") + ": not found"));
}

TEST_F(OperationTest, OnATerminalThereIsABarAndNoNameSteersIt) {
  isTerminal = true;
  EXPECT_EQ(run({"compress", root, tree.at("r/\x1b[31m/missing")}), 3);
  EXPECT_THAT(err.str(), HasSubstr("%  "));
  EXPECT_THAT(err.str(), HasSubstr("/r/\\x1B[31m/missing"));
  EXPECT_THAT(err.str(), Not(HasSubstr("\x1b[31m")));
}

TEST_F(OperationTest, OutsideAVolumeEachFileFailsAndIsAsItWas) {
  const auto before = contents();
  EXPECT_EQ(run({"compress", root}, FileSystem::native()), 3);
  EXPECT_THAT(err.str(), HasSubstr("/r/big.h: in no volume mounted"));
  EXPECT_THAT(err.str(), testing::EndsWith("quillbrookctl volume mount DIR\n"));
  EXPECT_EQ(run({"compress", "--json", root}, FileSystem::native()), 3);
  EXPECT_EQ(objects().back()["failed"], 2);
  EXPECT_EQ(object("r/big.h")["error"], "ioError");
  EXPECT_THAT(object("r/big.h")["detail"], HasSubstr("chflags"));
  EXPECT_EQ(contents(), before);
}

TEST_F(OperationTest, AnUnreadableFolderMakesTheRunIncomplete) {
  openEnumerator = OmittingWalk::opener({{"sub", ErrorNumber{EACCES}}});
  for (const char* verb : {"compress", "inspect"}) {
    EXPECT_EQ(run({verb, root}), 3);
    EXPECT_THAT(err.str(), HasSubstr(tree.at("r/sub")));
    EXPECT_THAT(out.str(), HasSubstr(verb == std::string("compress") ? "compressed 1 of 1 file " : "big.h"));
  }
}

// A stop as each single call is made: both files whole, in either form, no work file left, and from then on no call
// that moves data or puts a file into another's place.
TEST_F(OperationTest, AStopAtAnyCallAbandonsTheFileInHandAndStartsNoOther) {
  const std::set<std::string> moving{
      "createExclusively", "openResourceFork", "openForReading", "openForLocking", "read", "write", "rename"};
  const Strings names{"s/a.h", "s/b.h"};
  const std::string content = ScratchFolder::prose(30'000);
  for (const std::string verb : {"compress", "decompress"}) {
    bool wasReached = true;
    for (std::size_t moment = 0; wasReached; ++moment) {
      SCOPED_TRACE(verb + " stopped at call " + std::to_string(moment));
      stop = {};
      stopSignal = 0;
      for (const std::string& name : names) tree.write(name, content);
      if (verb == "decompress") {
        ASSERT_EQ(run({"compress", tree.at("s")}), 0);
      }
      FaultyFileSystem watched(CompressingFileSystem::instance(), [&](const auto& call) -> std::optional<ErrorNumber> {
        if (call.number == moment) stopWith(SIGINT);
        EXPECT_TRUE(call.number <= moment || !moving.contains(call.operation)) << call.label() << " after the stop";
        return std::nullopt;
      });
      const int exitCode = run({verb, "--jobs", "1", "--json", tree.at("s")}, watched);
      wasReached = stop.stop_requested();
      EXPECT_EQ(exitCode, wasReached ? 130 : 0);
      EXPECT_EQ(err.str().contains("stopped"), wasReached) << err.str();
      for (const std::string& name : names) {
        if (object(name)["error"] == "ioError") {
          EXPECT_THAT(object(name)["detail"], testing::StartsWith("stopped before the end"));
        }
      }
      stop = {};
      ASSERT_EQ(run({"decompress", tree.at("s")}), 0) << err.str();
      for (const std::string& name : names) {
        EXPECT_TRUE(tree.read(name) == content) << name;
        EXPECT_FALSE(tree.exists(name + ".slimtmp"));
      }
    }
  }
  stopWith(SIGTERM);
  EXPECT_EQ(run({"inspect", root}), 143);
}

TEST_F(OperationTest, ResultsThatNobodyTakesStopTheRun) {
  struct Full final : std::streambuf {
    int_type overflow(int_type) override { return traits_type::eof(); }
  } full;
  for (int i = 0; i < 1'000; ++i) tree.write("r/many/" + std::to_string(i), ScratchFolder::prose(5'000));
  std::streambuf* kept = out.rdbuf();
  static_cast<std::ostream&>(out).rdbuf(&full);
  EXPECT_EQ(run({"compress", "--jobs", "1", "--json", root}), 1);
  EXPECT_THAT(err.str(), HasSubstr("cannot write the results"));
  static_cast<std::ostream&>(out).rdbuf(kept);
  out.clear();
  EXPECT_EQ(run({"inspect", "--json", root}), 0);
  EXPECT_GT(std::ranges::count(objects(), "uncompressed", [](const Json& line) { return line["status"]; }), 0);
}

}  // namespace
}  // namespace quillbrook
