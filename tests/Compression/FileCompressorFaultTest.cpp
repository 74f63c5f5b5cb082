// SPDX-License-Identifier: MIT
// Every call of every sequence is failed in turn with every error that it can give. Whatever happens, the user's file
// is whole, what is not ours stays, and no lock is left behind.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <map>

#include "Compression/FileCompressor.h"
#include "Compression/WorkFile.h"
#include "Platform/Log.h"
#include "Route.h"
#include "TestData.h"
#include "support/FaultyFileSystem.h"
#include "support/MemoryFileSystem.h"

namespace quillbrook {
namespace {

using TestData::Bytes;
using Call = FaultyFileSystem::Call;
using Node = MemoryFileSystem::Node;

const FilePath url("/a");
const FilePath workFile("/a.slimtmp");
const std::string marker(WorkFile::marker);
const std::string success = "success";
const std::string conflict = "temporaryFileConflict(/a.slimtmp)";

// What file systems answer, whichever call it is.
constexpr int errors[]{EPERM,  ENOENT, EINTR,        EIO,    EAGAIN, EACCES,  EBUSY,   EEXIST,    EINVAL, EMFILE,
                       ENOSPC, EROFS,  ENAMETOOLONG, ENOLCK, ERANGE, ENODATA, ENOTSUP, ECANCELED, EDQUOT};

// Two blocks where blocks are what is worked on; otherwise the smallest that needs a fork.
Bytes content(const Route& route) {
  if (!route.streams) return TestData::noise(4'000);
  Bytes result(65'536, 'x');
  result.insert(result.end(), 300, 'y');
  return result;
}

MemoryFileSystem start(const Route& route) {
  MemoryFileSystem memory;
  auto& node = memory.put(url, content(route));
  node.status.st_uid = 1'000;
  node.status.st_mode = 0640;
  node.status.st_flags = UF_NODUMP;
  node.accessControlList = "user:33:r--";
  node.attributes = {{"com.example.empty", {}}, {"com.example.value", {1, 2, 3}}};
  if (!route.compresses) {
    EXPECT_EQ((Route{true, route.streams}.run(url, memory)), success);
  }
  return memory;
}

// What is expected of one failing call. {n} stands for the number, {t} for the system's words.
struct Rule {
  std::string call;         // operation, attribute, and whose: "a" or "work"
  std::size_t nth;          // 0: any
  std::vector<int> errors;  // none: any
  std::string outcome;
  std::string lost;  // what of the file's identity may differ afterwards
  std::string log;
};

std::vector<Rule> rules(const Route& route) {
  const std::string read = route.compresses ? "read source" : "read compressed";
  const std::string openSource = !route.streams     ? read + ": {t}"
                                 : route.compresses ? "open source for streaming"
                                                    : "open compressed for streaming";
  const std::string write = route.streams && !route.compresses ? "write slimtmp: {t}" : "write rsrc fork: errno={n}";
  const std::string close = route.compresses ? "close rsrc fork: errno={n}" : "close slimtmp: {t}";
  const std::string changed = "fileChangedDuringOperation(/a)";
  const auto io = [](const FilePath& path, const std::string& detail) {
    return "ioError(" + path.bytes() + ", " + detail + ")";
  };
  const std::vector<int> any;
  std::vector<Rule> result{
      {"lstat a", 2, any, changed, "", ""},
      {"lstat a", 3, any, changed, "", ""},
      {"lstat a", 0, {ENOENT}, "fileNotFound(/a)", "", ""},
      {"lstat a", 0, any, io(url, "lstat: errno={n}"), "", ""},
      {"getxattr com.apple.ResourceFork a", 0, any, success, "", ""},
      {"openForLocking a", 0, {ENOENT}, "fileNotFound(/a)", "", ""},
      {"openForLocking a", 0, any, io(url, "open: errno={n}"), "", ""},
      {"flock a", 0, {EWOULDBLOCK}, "fileInUse(/a)", "", ""},
      {"flock a", 0, any, io(url, "flock: errno={n}"), "", ""},
      {"openForReading a", 0, any, io(url, openSource), "", ""},
      {"read a", 0, any, io(url, read + ": {t}"), "", ""},
      {"createExclusively work", 0, {EEXIST}, conflict, "", ""},
      {"createExclusively work", 0, any, io(workFile, "create slimtmp: errno={n}"), "", ""},
      {"lstat work", 0, any, conflict, "", ""},
      {"getxattr " + marker + " work", 0, any, conflict, "", ""},
      {"unlink work", 0, any, io(workFile, "unlink stale slimtmp: errno={n}"), "", ""},
      {"fsetxattr " + marker + " work", 0, any, success, "", "slimtmp marker setxattr failed for <private>: errno={n}"},
      {"openResourceFork work", 0, any, io(workFile, "open rsrc fork: errno={n}"), "", ""},
      {"lseek work", 0, any, io(workFile, "lseek rsrc fork: errno={n}"), "", ""},
      {"write work", 0, {EINTR}, success, "", ""},
      {"write work", 0, any, io(workFile, write), "", ""},
      {"close work", 0, any, io(workFile, close), "", ""},
      {"chown work", 0, any, success, "owner", "chown failed for <private>: errno={n}"},
      {"listxattr a", 1, {ENOTSUP}, success, "attributes", ""},
      {"listxattr a", 1, any, io(url, "listxattr size: errno={n}"), "", ""},
      {"listxattr a", 2, any, io(url, "listxattr read: errno={n}"), "", ""},
      {"copyACL work", 0, any, success, "ACL", "ACL copy failed for <private>: errno={n}"},
      {"setxattr com.apple.decmpfs work", 0, any, io(workFile, "setxattr: errno={n}"), "", ""},
      {"setxattr com.apple.ResourceFork work", 0, any, io(workFile, "setxattr: errno={n}"), "", ""},
      {"setFileTimes work", 0, any, success, "times", "utimensat failed for <private>: errno={n}"},
      {"setCreationTime work", 0, any, success, "creation time", ""},
      {"chmod work", 0, any, success, "mode", "chmod failed for <private>: errno={n}"},
      {"openForReading work", 0, any, io(workFile, "open for readback verification"), "", ""},
      {"read work", 0, any, io(workFile, "readback: {t}"), "", ""},
      {"isHeld a", 0, any, changed, "", ""},
      {"removexattr " + marker + " work", 0, {ENODATA}, success, "attributes", ""},
      {"removexattr " + marker + " work", 0, any, success, "attributes",
       "slimtmp marker removexattr failed for <private>: errno={n}"},
      {"rename a", 0, any, io(url, "rename: errno={n}"), "", ""},
  };
  if (route.compresses) {
    result.push_back({"chflags work", 0, {EPERM}, success, "", ""});
    result.push_back({"chflags work", 0, any, io(workFile, "chflags: errno={n}"), "", ""});
  } else {
    result.push_back({"chflags work", 0, any, success, "flags", ""});
  }
  for (const std::string name : {"com.example.empty", "com.example.value"}) {
    const std::string last = name == "com.example.empty" ? "setxattr empty" : "setxattr";
    const auto log = [&](const std::string& step) {
      return "xattr copy failed (" + step + " " + name + ") for <private>: errno={n}";
    };
    result.push_back({"getxattr " + name + " a", 1, any, success, "attributes", log("getxattr size")});
    result.push_back({"getxattr " + name + " a", 2, any, success, "attributes", log("getxattr value")});
    result.push_back({"setxattr " + name + " work", 0, any, success, "attributes", log(last)});
  }
  return result;
}

std::string filledIn(std::string text, ErrorNumber error) {
  const auto fill = [&](std::string_view mark, const std::string& value) {
    if (const auto at = text.find(mark); at != std::string::npos) text.replace(at, mark.size(), value);
  };
  fill("{n}", std::to_string(error.value));
  fill("{t}", error.text());
  return text;
}

std::string labelOf(const Call& call) {
  return call.label() + (call.path == url ? " a" : " work");
}

// What is to stay of a file in either form, but for what may be lost.
Node identity(Node node, std::string_view lost = {}) {
  node.status.st_ino = 0;
  node.status.st_flags &= lost == "flags" ? 0 : ~UF_COMPRESSED;
  node.data.clear();
  node.attributes.erase("com.apple.decmpfs");
  node.attributes.erase("com.apple.ResourceFork");
  if (lost == "attributes") node.attributes.clear();
  if (lost == "ACL") node.accessControlList.clear();
  if (lost == "owner") node.status.st_uid = 0;
  if (lost == "mode") node.status.st_mode = 0;
  if (lost == "times") node.status.st_atimespec = node.status.st_mtimespec = {};
  if (lost == "creation time") node.status.st_birthtimespec = {};
  return node;
}

enum class Beside { nothing, debris, foreign };

class FaultTest : public testing::TestWithParam<Route> {
 protected:
  static void putBeside(MemoryFileSystem& memory, Beside beside) {
    if (beside == Beside::nothing) return;
    auto& node = memory.put(workFile, TestData::bytes("left over"));
    if (beside == Beside::debris) node.attributes[marker] = {1};
  }

  // The calls of a run in which nothing fails.
  std::vector<Call> trace(Beside beside) const {
    MemoryFileSystem memory(start_);
    putBeside(memory, beside);
    FaultyFileSystem counting(memory, nullptr);
    EXPECT_EQ(route_.run(url, counting), beside == Beside::foreign ? conflict : success);
    return counting.calls();
  }

  // The untouched file: even its times, but for the one that reading sets.
  void expectUntouched(MemoryFileSystem& memory) const {
    auto before = before_;
    before.status.st_atimespec = memory.at(url).status.st_atimespec;
    EXPECT_EQ(memory.at(url), before);
  }

  // Whether the file holds what it held, in one form or the other, and can be worked on.
  void expectWhole(MemoryFileSystem& memory) const {
    EXPECT_EQ(memory.read(url), content(route_));
    EXPECT_FALSE(memory.at(url).isLocked);
  }

  const Route route_ = GetParam();
  const MemoryFileSystem start_ = start(GetParam());
  const Node before_ = MemoryFileSystem(start_).at(url);
  const std::vector<Rule> rules_ = rules(GetParam());
};

TEST_P(FaultTest, EachCallFailsWithEachError) {
  for (const Beside beside : {Beside::nothing, Beside::debris, Beside::foreign}) {
    std::map<std::string, std::size_t> seen;
    for (const Call& call : trace(beside)) {
      const std::size_t nth = ++seen[labelOf(call)];
      for (const int number : errors) {
        const ErrorNumber error{number};
        SCOPED_TRACE(labelOf(call) + " no. " + std::to_string(nth) + ": " + error.text());
        const auto rule = std::ranges::find_if(rules_, [&](const Rule& r) {
          return r.call == labelOf(call) && (r.nth == 0 || r.nth == nth) &&
                 (r.errors.empty() || std::ranges::count(r.errors, number) != 0);
        });
        ASSERT_NE(rule, rules_.end());
        // Where something stands already, a first "exists" is nothing new.
        const bool isNoFault =
            beside != Beside::nothing && call.operation == "createExclusively" && nth == 1 && number == EEXIST;
        std::string expected = isNoFault ? success : filledIn(rule->outcome, error);
        if (expected == success && beside == Beside::foreign) expected = conflict;

        MemoryFileSystem memory(start_);
        putBeside(memory, beside);
        FaultyFileSystem faulty(
            memory, [&](const Call& c) { return c.number == call.number ? std::optional(error) : std::nullopt; });
        const auto began = std::chrono::system_clock::now();
        EXPECT_EQ(route_.run(url, faulty), expected);

        expectWhole(memory);
        const bool replaced = memory.at(url).status.st_ino != before_.status.st_ino;
        // Only the closing look comes after the swap.
        EXPECT_EQ(replaced, expected == success || (labelOf(call) == "lstat a" && nth == 4));
        if (!replaced) {
          expectUntouched(memory);
        } else {
          EXPECT_EQ(identity(memory.at(url), rule->lost), identity(before_, rule->lost));
        }
        // Nothing of ours stays but debris that was not reached or could not be removed.
        EXPECT_TRUE(beside == Beside::foreign ? memory.exists(workFile)
                                              : beside == Beside::debris || !memory.exists(workFile));
        EXPECT_TRUE(!memory.exists(workFile) || memory.at(workFile).data == TestData::bytes("left over"));
        if (!rule->log.empty()) {
          const LogEntry last = Log::entries().back();
          EXPECT_EQ(last.message, filledIn(rule->log, error));
          EXPECT_GE(last.time, began);
        }
        const std::string done = route_.compresses ? "alreadyCompressed(/a)" : "notCompressed(/a)";
        EXPECT_EQ(route_.run(url, memory), beside == Beside::foreign ? conflict : replaced ? done : success);
        EXPECT_EQ(memory.exists(workFile), beside == Beside::foreign);
      }
      // From here on all is as if there had been nothing.
      if (beside == Beside::debris && call.operation == "fsetxattr") break;
    }
  }
}

// Then the work file cannot be removed either. It is cleared later, unless it has no marker: it got none, or has lost
// it.
TEST_P(FaultTest, EverythingFailsFromOneCallOn) {
  for (const Call& call : trace(Beside::debris)) {
    SCOPED_TRACE(labelOf(call));
    MemoryFileSystem memory(start_);
    putBeside(memory, Beside::debris);
    FaultyFileSystem faulty(memory, [&](const Call& c) {
      return c.number >= call.number ? std::optional(ErrorNumber::inputOutput) : std::nullopt;
    });
    EXPECT_NE(route_.run(url, faulty), success);
    expectWhole(memory);
    if (memory.at(url).status.st_ino == before_.status.st_ino) {
      expectUntouched(memory);
      const bool marked = !memory.exists(workFile) || memory.at(workFile).attributes.contains(marker);
      EXPECT_EQ(marked, call.operation != "fsetxattr" && call.operation != "rename");
      EXPECT_EQ(route_.run(url, memory), marked ? success : conflict);
      EXPECT_EQ(memory.exists(workFile), !marked);
    }
    expectWhole(memory);
  }
}

TEST_P(FaultTest, ReadsAndWritesComeInPieces) {
  for (const std::size_t piece : {1U, 999U, 65'537U}) {
    if (piece == 1 && route_.streams) continue;  // many calls, nothing new
    MemoryFileSystem memory(start_);
    FaultyFileSystem faulty(memory, [](const Call& call) {
      const bool interrupted = call.operation == "write" && call.number % 2 == 0;
      return interrupted ? std::optional(ErrorNumber::interrupted) : std::nullopt;
    });
    faulty.largestTransfer = piece;
    EXPECT_EQ(route_.run(url, faulty), success);
    expectWhole(memory);
    EXPECT_EQ(identity(memory.at(url)), identity(before_));
  }
}

TEST_P(FaultTest, RefusedFlagsFailOnlyWhenCompressing) {
  MemoryFileSystem memory(start_);
  FaultyFileSystem faulty(memory, [](const Call& call) {
    return call.operation == "chflags" ? std::optional(ErrorNumber::notPermitted) : std::nullopt;
  });
  EXPECT_EQ(route_.run(url, faulty), route_.compresses ? "ioError(/a.slimtmp, chflags fallback: errno=1)" : success);
  expectWhole(memory);
  EXPECT_FALSE(memory.exists(workFile));
}

INSTANTIATE_TEST_SUITE_P(Routes, FaultTest, testing::ValuesIn(routes), routeName);

}  // namespace
}  // namespace quillbrook
