// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <set>
#include <streambuf>
#include <string>
#include <vector>

#include "CommandLine/CancellableFileSystem.h"
#include "CommandLineFixture.h"

namespace quillbrook {
namespace {

using testing::HasSubstr;
using testing::Not;
using Strings = std::vector<std::string>;

std::string compressible(std::size_t size) {
  std::string text;
  for (int i = 0; text.size() < size; ++i) text += "line " + std::to_string(i % 97) + " of the text\n";
  text.resize(size);
  return text;
}

// A volume that is not mounted: the flag cannot be set.
class Unmounted final : public ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  Result<void> chflags(const FilePath&, std::uint32_t) override { return std::unexpected(ErrorNumber::notSupported); }
};

class OperationTest : public CommandLineTest {
 protected:
  void SetUp() override {
    tree.put("/r/big.h", big);
    tree.put("/r/sub/small.h", "tiny");
    tree.put("/r/sub/text.TXT", compressible(20'000));
  }
  const std::string big = compressible(200'000);
};

TEST_F(OperationTest, ThereAndBackLeavesTheContentAndCountsEachFile) {
  EXPECT_EQ(run({"compress", "--jobs", "1", "--json", "/r"}), 0) << err.str();
  auto lines = objects();
  ASSERT_EQ(lines.size(), 3U) << out.str();
  const Json& result = lines.front();
  EXPECT_EQ(keys(result), (Strings{"type", "operation", "path", "outcome", "error", "detail", "bytesBefore",
                                   "bytesAfter", "algorithm"}));
  EXPECT_EQ(result["type"], "result");
  EXPECT_EQ(result["operation"], "compress");
  EXPECT_EQ(result["path"], "/r/big.h");
  EXPECT_EQ(result["outcome"], "done");
  EXPECT_TRUE(result["error"].is_null() && result["detail"].is_null());
  EXPECT_EQ(result["bytesBefore"], 200'000);
  EXPECT_LT(result["bytesAfter"], 100'000);
  EXPECT_EQ(result["algorithm"], "lzfseRsrc");
  const Json& summary = lines.back();
  EXPECT_EQ(keys(summary), (Strings{"type", "operation", "files", "done", "skipped", "failed", "bytesBefore",
                                    "bytesAfter", "seconds"}));
  EXPECT_EQ(summary["type"], "summary");
  EXPECT_EQ(summary["files"], 2) << "the one that is not worth it is no file of the run";
  EXPECT_EQ(summary["done"], 2);
  EXPECT_EQ(summary["bytesBefore"], 220'000);
  EXPECT_EQ(summary["bytesAfter"], lines[0]["bytesAfter"].get<int>() + lines[1]["bytesAfter"].get<int>());
  EXPECT_EQ(summary["seconds"], 0.25);

  EXPECT_EQ(run({"compress", "--jobs", "1", "--json", "/r"}), 0);
  lines = objects();
  EXPECT_EQ(lines.front()["outcome"], "skipped");
  EXPECT_EQ(lines.front()["error"], "alreadyCompressed");
  EXPECT_TRUE(lines.front()["algorithm"].is_null());
  EXPECT_EQ(lines.front()["bytesAfter"], 200'000);
  EXPECT_EQ(lines.back()["skipped"], 2);
  EXPECT_EQ(lines.back()["bytesBefore"], 0) << "sums are over what was done";

  EXPECT_EQ(run({"decompress", "--jobs", "1", "--json", "/r"}), 0);
  EXPECT_EQ(objects().back()["done"], 2);
  EXPECT_TRUE(objects().front()["algorithm"].is_null());
  EXPECT_EQ(tree.content("/r/big.h"), big);
}

TEST_F(OperationTest, WhatIsNamedIsTriedAndWhatFailsIsToldInTheExitCode) {
  tree.put("/r/link", "").status.kind = FileKind::symbolicLink;
  tree.put("/r/hard", big).status.st_nlink = 2;
  const struct {
    Strings arguments;
    int exitCode;
    std::string outcome;
    std::string error;
  } cases[] = {
      {{"compress", "--jobs", "1", "/r/link"}, 0, "skipped", "symbolicLink"},
      {{"compress", "--jobs", "1", "/r/hard"}, 0, "skipped", "hardLinked"},
      {{"compress", "--jobs", "1", "/r/missing"}, 3, "failed", "fileNotFound"},
      {{"decompress", "--jobs", "1", "/r/big.h"}, 0, "skipped", "notCompressed"},
      {{"decompress", "--jobs", "1", "/r/hard"}, 0, "skipped", "hardLinked"},
  };
  for (auto [arguments, exitCode, outcome, error] : cases) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    arguments.emplace_back("--json");
    EXPECT_EQ(run(arguments), exitCode);
    EXPECT_EQ(objects().front()["outcome"], outcome);
    EXPECT_EQ(objects().front()["error"], error);
    EXPECT_EQ(objects().front()["detail"].empty(), false);
  }
}

TEST_F(OperationTest, NamesThatAreNotUtf8ComeWithTheirBytes) {
  const FilePath odd("/r/\xff\n.h");
  tree.put(odd, MemoryFileSystem::Bytes(big.begin(), big.end()));
  EXPECT_EQ(run({"compress", "--jobs", "1", "--json", odd.bytes()}), 0);
  Json result = objects().front();
  EXPECT_EQ(result["path"], "/r/\xef\xbf\xbd\n.h");
  EXPECT_EQ(result["pathBase64"], "L3Iv/wouaA==");
  EXPECT_EQ(keys(result)[3], "pathBase64");

  EXPECT_EQ(run({"inspect", "--json", odd.bytes()}), 0);
  result = objects().front();
  EXPECT_EQ(keys(result), (Strings{"type", "path", "pathBase64", "status", "algorithm", "logicalSize", "physicalSize",
                                   "uncompressedSize"}));
  EXPECT_EQ(result["pathBase64"], "L3Iv/wouaA==");
}

TEST_F(OperationTest, PeopleReadASummaryByKind) {
  tree.put("/r/conflict.h", big);
  tree.put("/r/conflict.h.slimtmp", "somebody else's");
  EXPECT_EQ(run({"compress", "--jobs", "1", "/r"}), 3);
  EXPECT_THAT(out.str(), HasSubstr("compressed 2 of 3 files in 0.2 s\n"));
  EXPECT_THAT(out.str(), testing::ContainsRegex("  \\.h +1 +200 kB"));
  EXPECT_THAT(out.str(), testing::ContainsRegex("  \\.txt +1 +20\\.0 kB"));
  EXPECT_THAT(out.str(), testing::ContainsRegex("  total +2 +220 kB"));
  EXPECT_THAT(out.str(), HasSubstr("failed: 1 file: 1 the work file's name is taken\n"));
  EXPECT_THAT(out.str(), HasSubstr("passed over: 1 file not worth it\n"));
  EXPECT_THAT(err.str(), testing::StartsWith("quillbrookctl: cannot compress /r/conflict.h: the work file's name"));
  EXPECT_EQ(err.str().find('\x1b'), std::string::npos) << "no bar without a terminal";
  EXPECT_EQ(tree.content("/r/conflict.h.slimtmp"), "somebody else's");
}

TEST_F(OperationTest, OnATerminalThereIsABarAndNoNameSteersIt) {
  isTerminal = true;
  tree.put("/r/\x1b[31m", big).status.kind = FileKind::other;
  EXPECT_EQ(run({"compress", "--jobs", "1", "/r", "/r/\x1b[31m/missing"}), 3);
  EXPECT_THAT(err.str(), HasSubstr("counting files"));
  EXPECT_THAT(err.str(), HasSubstr("%  "));
  EXPECT_THAT(err.str(), HasSubstr("/r/\\x1B[31m/missing"));
  EXPECT_THAT(err.str(), Not(HasSubstr("\x1b[31m")));
}

TEST_F(OperationTest, OutsideAVolumeEachFileFailsAndIsAsItWas) {
  Unmounted unmounted(tree);
  const auto before = tree.memory.at(FilePath("/r/big.h"));
  EXPECT_EQ(run({"compress", "--jobs", "1", "/r"}, unmounted), 3);
  EXPECT_THAT(err.str(), HasSubstr("/r/big.h: in no mounted volume: chflags: Operation not supported"));
  EXPECT_THAT(err.str(), testing::EndsWith("mount their folder first: quillbrookctl volume mount DIR\n"));
  EXPECT_EQ(tree.memory.at(FilePath("/r/big.h")).data, before.data);
  EXPECT_FALSE(tree.memory.exists(FilePath("/r/big.h.slimtmp")));
}

TEST_F(OperationTest, AnUnreadableFolderMakesTheRunIncomplete) {
  tree.unreadable[FilePath("/r/sub")] = ErrorNumber{13};
  EXPECT_EQ(run({"compress", "--jobs", "1", "/r"}), 3);
  EXPECT_THAT(err.str(), HasSubstr("cannot read the folder /r/sub"));
  EXPECT_THAT(out.str(), HasSubstr("compressed 1 of 1 file "));
  EXPECT_EQ(run({"inspect", "/r"}), 3);
  EXPECT_THAT(err.str(), HasSubstr("/r/sub"));
}

TEST_F(OperationTest, AStopAbandonsTheFileInHandWholeAndStartsNoOther) {
  const std::string huge = compressible(20'000'000);  // long enough for the streaming route
  for (const int signal : {SIGINT, SIGTERM}) {
    stop = {};
    MemoryTree fresh;
    fresh.put("/s/huge", huge);
    for (int i = 0; i < 20; ++i) fresh.put("/s/later" + std::to_string(i), big);
    int calls = 0;
    fresh.onDataCall = [&] {
      if (++calls == 3) stopWith(signal);
    };
    openDirectory = [&](const FilePath& path) { return fresh.open(path); };
    EXPECT_EQ(run({"compress", "--jobs", "1", "--json", "/s"}, fresh), 128 + signal);
    EXPECT_TRUE(fresh.content("/s/huge") == huge);
    EXPECT_FALSE(fresh.memory.exists(FilePath("/s/huge.slimtmp")));
    EXPECT_EQ(fresh.memory.at(FilePath("/s/later0")).status.st_flags & UF_COMPRESSED, 0U);
    EXPECT_EQ(objects().back()["type"], "summary");
    EXPECT_EQ(objects().back()["files"], 1);
    EXPECT_THAT(err.str(), HasSubstr("stopped"));
  }
}

TEST_F(OperationTest, AStopAtAnyMomentLeavesTheFileWholeInEitherForm) {
  std::set<bool> seen;
  for (const char* verb : {"compress", "decompress"}) {
    for (int moment = 1; moment <= 12; ++moment) {
      stop = {};
      stopSignal = 0;
      MemoryTree fresh;
      fresh.put("/s/file.h", big);
      openDirectory = [&](const FilePath& path) { return fresh.open(path); };
      if (verb == std::string("decompress")) {
        ASSERT_EQ(run({"compress", "--jobs", "1", "/s"}, fresh), 0);
      }
      int calls = 0;
      fresh.onDataCall = [&] {
        if (++calls == moment) stopWith(SIGINT);
      };
      const int exitCode = run({verb, "--jobs", "1", "/s"}, fresh);
      EXPECT_EQ(exitCode, calls >= moment ? 130 : 0);
      seen.insert(calls >= moment);
      fresh.onDataCall = [] {};
      EXPECT_TRUE(fresh.content("/s/file.h") == big) << verb << " stopped at call " << moment;
      EXPECT_FALSE(fresh.memory.exists(FilePath("/s/file.h.slimtmp")));
    }
  }
  EXPECT_EQ(seen.size(), 2U) << "the moments did not cover a run";
}

TEST_F(OperationTest, AfterAStopOpenReadersAndWritersAnswerCancelledAndCleaningUpStillWorks) {
  CancellableFileSystem fileSystem(tree, stop.get_token());
  const auto reader = fileSystem.openForReading(FilePath("/r/big.h")).value();
  const auto writer = fileSystem.createExclusively(FilePath("/r/work"), 0600, FilePath("/r/big.h")).value();
  const auto fork = fileSystem.openResourceFork(FilePath("/r/work")).value();
  const auto lock = fileSystem.openForLocking(FilePath("/r/big.h")).value();
  std::vector<std::uint8_t> buffer(10);
  ASSERT_TRUE(reader->read(buffer).has_value());
  ASSERT_TRUE(writer->write(buffer).has_value());
  EXPECT_FALSE(fileSystem.hasRefused());

  stopWith(SIGINT);
  const auto refused = std::unexpected(ErrorNumber::cancelled);
  EXPECT_EQ(reader->read(buffer), refused);
  EXPECT_EQ(writer->write(buffer), refused);
  EXPECT_EQ(fork->write(buffer), refused);
  EXPECT_EQ(fileSystem.openForReading(FilePath("/r/big.h")).error(), ErrorNumber::cancelled);
  EXPECT_EQ(fileSystem.rename(FilePath("/r/work"), FilePath("/r/big.h"), fileSystem.lstat(FilePath("/r/big.h")).value(),
                              *lock),
            refused);
  EXPECT_TRUE(fileSystem.hasRefused());
  EXPECT_TRUE(writer->close().has_value());
  EXPECT_TRUE(fileSystem.unlink(FilePath("/r/work")).has_value());
  EXPECT_EQ(tree.content("/r/big.h"), big);
}

TEST_F(OperationTest, ResultsThatNobodyTakesStopTheRun) {
  struct Full final : std::streambuf {
    int_type overflow(int_type) override { return traits_type::eof(); }
  } full;
  for (int i = 0; i < 1'000; ++i) tree.put("/r/many/" + std::to_string(i), compressible(5'000));
  std::streambuf* kept = out.rdbuf();
  static_cast<std::ostream&>(out).rdbuf(&full);
  EXPECT_EQ(run({"compress", "--jobs", "1", "--json", "/r"}), 1);
  EXPECT_THAT(err.str(), HasSubstr("cannot write the results"));
  static_cast<std::ostream&>(out).rdbuf(kept);
  out.clear();
  EXPECT_EQ(run({"inspect", "--json", "/r"}), 0);
  const auto lines = objects();
  EXPECT_GT(std::ranges::count(lines, "uncompressed", [](const Json& line) { return line["status"]; }), 0);
}

TEST_F(OperationTest, InspectShowsEachStateWithItsSizes) {
  ASSERT_EQ(run({"compress", "--jobs", "1", "/r/big.h"}), 0);
  EXPECT_EQ(run({"inspect", "--json", "/r"}), 0);
  const auto lines = objects();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(keys(lines[0]),
            (Strings{"type", "path", "status", "algorithm", "logicalSize", "physicalSize", "uncompressedSize"}));
  EXPECT_EQ(lines[0]["status"], "compressed");
  EXPECT_EQ(lines[0]["algorithm"], "lzfseRsrc");
  EXPECT_EQ(lines[0]["logicalSize"], 200'000);
  EXPECT_LT(lines[0]["physicalSize"], 100'000);
  EXPECT_EQ(lines[0]["uncompressedSize"], 200'000);
  EXPECT_EQ(lines[1]["status"], "incompressible");
  EXPECT_TRUE(lines[1]["algorithm"].is_null() && lines[1]["uncompressedSize"].is_null());
  EXPECT_EQ(lines[2]["status"], "uncompressed");

  EXPECT_EQ(run({"inspect", "/r", "/r/missing"}), 3);
  EXPECT_THAT(out.str(), testing::ContainsRegex("compressed +lzfseRsrc +200 kB .*  /r/big.h\n"));
  EXPECT_THAT(out.str(), testing::ContainsRegex("total +3 files +220 kB"));
  EXPECT_THAT(err.str(), HasSubstr("cannot inspect /r/missing: not found"));
  stopWith(SIGTERM);
  EXPECT_EQ(run({"inspect", "/r"}), 143);
}

}  // namespace
}  // namespace quillbrook
