// SPDX-License-Identifier: MIT
// Every call of every sequence is failed in turn with every error that it can give. Whatever happens, the user's file
// is whole, what is not ours stays, and no lock is left behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Compression/FileCompressor.h"
#include "Compression/WorkFile.h"
#include "Platform/Log.h"
#include "TestData.h"
#include "support/FaultyFileSystem.h"
#include "support/MemoryFileSystem.h"

namespace quillbrook {
namespace {

using TestData::Bytes;
using Call = FaultyFileSystem::Call;

const FilePath url("/a");
const FilePath workFile("/a.slimtmp");
const std::string marker(WorkFile::marker);
const std::string success = "success";
const std::string conflict = "temporaryFileConflict(/a.slimtmp)";

const std::map<std::string, std::vector<int>> errorsOf{
    {"lstat", {EIO, EACCES, ENOENT, ENAMETOOLONG}},
    {"chown", {EIO, EPERM, EROFS, EDQUOT}},
    {"chmod", {EIO, EPERM, EROFS}},
    {"chflags", {EIO, EPERM, ENOTSUP, ENOSPC, EROFS}},
    {"setFileTimes", {EIO, EPERM, EACCES}},
    {"setCreationTime", {EIO, ENOTSUP, ENOSPC}},
    {"getxattr", {EIO, ENODATA, ENOTSUP, ERANGE}},
    {"setxattr", {EIO, ENOSPC, EDQUOT, ENOTSUP, EPERM}},
    {"fsetxattr", {EIO, ENOSPC, ENOTSUP}},
    {"removexattr", {EIO, ENODATA, ENOSPC, EROFS}},
    {"listxattr", {EIO, ENOTSUP, ERANGE}},
    {"copyACL", {EIO, ENOTSUP, ENOSPC, EPERM}},
    {"createExclusively", {EIO, EEXIST, ENOSPC, EDQUOT, EACCES, EROFS, ENAMETOOLONG}},
    {"openResourceFork", {EIO, EACCES, EMFILE}},
    {"openForReading", {EIO, EACCES, ENOENT, EMFILE}},
    {"openForLocking", {EIO, EACCES, ENOENT, EMFILE}},
    {"flock", {EWOULDBLOCK, EIO, ENOLCK}},
    {"isHeld", {EIO}},
    {"read", {EIO, ECANCELED, ENOTSUP}},
    {"write", {EIO, ENOSPC, EDQUOT, EINTR, ECANCELED}},
    {"lseek", {EIO, EINVAL}},
    {"close", {EIO, ENOSPC, EDQUOT}},
    {"rename", {EIO, EBUSY, EACCES, ENOSPC, EROFS}},
    {"unlink", {EIO, EACCES, EPERM, EROFS}},
};

enum class Route { memoryCompress, streamCompress, memoryDecompress, streamDecompress };
constexpr Route routes[]{Route::memoryCompress, Route::streamCompress, Route::memoryDecompress,
                         Route::streamDecompress};
bool isCompress(Route route) {
  return route == Route::memoryCompress || route == Route::streamCompress;
}
bool isStreaming(Route route) {
  return route == Route::streamCompress || route == Route::streamDecompress;
}

// Two blocks where blocks are what is worked on; otherwise the smallest that needs a fork.
Bytes content(Route route) {
  if (!isStreaming(route)) return TestData::noise(4'000);
  Bytes result(65'536, 'x');
  result.insert(result.end(), 300, 'y');
  return result;
}

std::string run(Route route, FileSystem& fileSystem) {
  const std::int64_t threshold = isStreaming(route) ? 0 : FileCompressor::defaultStreamingThreshold;
  if (isCompress(route)) {
    const auto result = FileCompressor::compress(url, threshold, nullptr, fileSystem);
    return result ? success : describe(result.error());
  }
  const auto result = FileCompressor::decompress(url, threshold, nullptr, fileSystem);
  return result ? success : describe(result.error());
}

MemoryFileSystem start(Route route) {
  MemoryFileSystem memory;
  auto& node = memory.put(url, content(route));
  node.status.st_uid = 1'000;
  node.status.st_mode = 0640;
  node.status.st_flags = UF_NODUMP;
  node.accessControlList = "user:33:r--";
  node.attributes = {{"com.example.empty", {}}, {"com.example.value", {1, 2, 3}}};
  if (!isCompress(route)) {
    EXPECT_EQ(run(isStreaming(route) ? Route::streamCompress : Route::memoryCompress, memory), success);
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

std::vector<Rule> rules(Route route) {
  const std::string read = isCompress(route) ? "read source" : "read compressed";
  const std::string openSource = route == Route::streamCompress     ? "open source for streaming"
                                 : route == Route::streamDecompress ? "open compressed for streaming"
                                                                    : read + ": {t}";
  const std::string write = route == Route::streamDecompress ? "write slimtmp: {t}" : "write rsrc fork: errno={n}";
  const std::string close = isCompress(route) ? "close rsrc fork: errno={n}" : "close slimtmp: {t}";
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
  if (isCompress(route)) {
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

std::set<std::string> differences(const MemoryFileSystem::Node& before, const MemoryFileSystem::Node& after) {
  const auto attributes = [](const MemoryFileSystem::Node& node) {
    auto result = node.attributes;
    result.erase("com.apple.decmpfs");
    result.erase("com.apple.ResourceFork");
    return result;
  };
  const FileStatus& b = before.status;
  const FileStatus& a = after.status;
  std::set<std::string> result;
  if (a.st_uid != b.st_uid || a.st_gid != b.st_gid) result.insert("owner");
  if (a.st_mode != b.st_mode) result.insert("mode");
  if ((a.st_flags | UF_COMPRESSED) != (b.st_flags | UF_COMPRESSED)) result.insert("flags");
  if (a.st_mtimespec != b.st_mtimespec || a.st_atimespec != b.st_atimespec) result.insert("times");
  if (a.st_birthtimespec != b.st_birthtimespec) result.insert("creation time");
  if (before.accessControlList != after.accessControlList) result.insert("ACL");
  if (attributes(before) != attributes(after)) result.insert("attributes");
  return result;
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
    EXPECT_EQ(run(route_, counting), beside == Beside::foreign ? conflict : success);
    return counting.calls();
  }

  // The untouched file: even its times, but for the one that reading sets.
  void expectUntouched(MemoryFileSystem& memory) const {
    auto now = memory.at(url);
    auto before = MemoryFileSystem(start_).at(url);
    before.status.st_atimespec = now.status.st_atimespec;
    EXPECT_EQ(now, before);
  }

  // Whether the file holds what it held, in one form or the other, and can be worked on.
  void expectWhole(MemoryFileSystem& memory) const {
    EXPECT_EQ(memory.read(url), content(route_));
    EXPECT_FALSE(memory.at(url).isLocked);
  }

  const Route route_ = GetParam();
  const MemoryFileSystem start_ = start(GetParam());
  const std::vector<Rule> rules_ = rules(GetParam());
};

TEST_P(FaultTest, EachCallFailsWithEachError) {
  for (const Beside beside : {Beside::nothing, Beside::debris, Beside::foreign}) {
    std::map<std::string, std::size_t> seen;
    for (const Call& call : trace(beside)) {
      const std::size_t nth = ++seen[labelOf(call)];
      for (const int number : errorsOf.at(call.operation)) {
        const ErrorNumber error{number};
        SCOPED_TRACE(labelOf(call) + " no. " + std::to_string(nth) + ": " + error.text());
        const auto rule = std::ranges::find_if(rules_, [&](const Rule& r) {
          return r.call == labelOf(call) && (r.nth == 0 || r.nth == nth) &&
                 (r.errors.empty() || std::ranges::count(r.errors, number) != 0);
        });
        ASSERT_NE(rule, rules_.end());
        // Where something stands already, a first "exists" is nothing new.
        const bool isNoFault = beside != Beside::nothing && nth == 1 && number == EEXIST;
        std::string expected = isNoFault ? success : filledIn(rule->outcome, error);
        if (expected == success && beside == Beside::foreign) expected = conflict;

        MemoryFileSystem memory(start_);
        putBeside(memory, beside);
        FaultyFileSystem faulty(
            memory, [&](const Call& c) { return c.number == call.number ? std::optional(error) : std::nullopt; });
        const auto began = std::chrono::system_clock::now();
        EXPECT_EQ(run(route_, faulty), expected);

        expectWhole(memory);
        const bool replaced = memory.at(url).status.st_ino != MemoryFileSystem(start_).at(url).status.st_ino;
        // Only the closing look comes after the swap.
        EXPECT_EQ(replaced, expected == success || (labelOf(call) == "lstat a" && nth == 4));
        if (!replaced) {
          expectUntouched(memory);
        } else {
          auto lost = differences(MemoryFileSystem(start_).at(url), memory.at(url));
          lost.erase(rule->lost);
          EXPECT_THAT(lost, testing::IsEmpty());
        }
        if (beside == Beside::foreign) {
          EXPECT_EQ(memory.at(workFile).data, TestData::bytes("left over"));
        } else if (memory.exists(workFile)) {
          // Nothing of ours stays but debris that was not reached or could not be removed.
          EXPECT_EQ(beside, Beside::debris);
          EXPECT_EQ(memory.at(workFile).data, TestData::bytes("left over"));
        }
        if (!rule->log.empty()) {
          const LogEntry last = Log::entries().back();
          EXPECT_EQ(last.message, filledIn(rule->log, error));
          EXPECT_GE(last.time, began);
        }
        const std::string again = run(route_, memory);
        if (beside == Beside::foreign) {
          EXPECT_EQ(again, conflict);
        } else if (replaced) {
          EXPECT_EQ(again, isCompress(route_) ? "alreadyCompressed(/a)" : "notCompressed(/a)");
        } else {
          EXPECT_EQ(again, success);
        }
        EXPECT_EQ(memory.exists(workFile), beside == Beside::foreign);
      }
    }
  }
}

TEST_P(FaultTest, AWorkFileThatCannotBeRemovedIsClearedLaterUnlessItLostItsMarker) {
  for (const Call& call : trace(Beside::nothing)) {
    SCOPED_TRACE(labelOf(call));
    MemoryFileSystem memory(start_);
    FaultyFileSystem faulty(memory, [&](const Call& c) {
      const bool fails = c.number == call.number || c.operation == "unlink";
      return fails ? std::optional(ErrorNumber::inputOutput) : std::nullopt;
    });
    const std::string result = run(route_, faulty);
    expectWhole(memory);
    if (!memory.exists(workFile)) continue;
    EXPECT_NE(result, success);
    expectUntouched(memory);
    const bool marked = memory.at(workFile).attributes.contains(marker);
    EXPECT_EQ(marked, call.operation != "rename");
    EXPECT_EQ(run(route_, memory), marked ? success : conflict);
    EXPECT_EQ(memory.exists(workFile), !marked);
  }
}

TEST_P(FaultTest, EverythingFailsFromOneCallOn) {
  for (const int number : {EIO, ENOSPC, ECANCELED}) {
    for (const Call& call : trace(Beside::debris)) {
      SCOPED_TRACE(labelOf(call));
      MemoryFileSystem memory(start_);
      putBeside(memory, Beside::debris);
      FaultyFileSystem faulty(memory, [&](const Call& c) {
        return c.number >= call.number ? std::optional(ErrorNumber{number}) : std::nullopt;
      });
      EXPECT_NE(run(route_, faulty), success);
      expectWhole(memory);
      const bool marked = !memory.exists(workFile) || memory.at(workFile).attributes.contains(marker);
      const bool replaced = memory.at(url).status.st_ino != MemoryFileSystem(start_).at(url).status.st_ino;
      if (!replaced) {
        EXPECT_EQ(run(route_, memory), marked ? success : conflict);
      }
      expectWhole(memory);
    }
  }
}

TEST_P(FaultTest, ReadsAndWritesComeInPieces) {
  for (const std::size_t piece : {1U, 999U, 65'537U}) {
    if (piece == 1 && isStreaming(route_)) continue;  // many calls, nothing new
    MemoryFileSystem memory(start_);
    FaultyFileSystem faulty(memory, [](const Call& call) {
      const bool interrupted = call.operation == "write" && call.number % 2 == 0;
      return interrupted ? std::optional(ErrorNumber::interrupted) : std::nullopt;
    });
    faulty.largestTransfer = piece;
    EXPECT_EQ(run(route_, faulty), success);
    expectWhole(memory);
    EXPECT_THAT(differences(MemoryFileSystem(start_).at(url), memory.at(url)), testing::IsEmpty());
  }
}

TEST_P(FaultTest, RefusedFlagsFailOnlyWhenCompressing) {
  MemoryFileSystem memory(start_);
  FaultyFileSystem faulty(memory, [](const Call& call) {
    return call.operation == "chflags" ? std::optional(ErrorNumber::notPermitted) : std::nullopt;
  });
  EXPECT_EQ(run(route_, faulty), isCompress(route_) ? "ioError(/a.slimtmp, chflags fallback: errno=1)" : success);
  expectWhole(memory);
  EXPECT_FALSE(memory.exists(workFile));
}

INSTANTIATE_TEST_SUITE_P(Routes, FaultTest, testing::ValuesIn(routes), [](const auto& route) -> std::string {
  return std::string(isStreaming(route.param) ? "Streaming" : "InMemory") +
         (isCompress(route.param) ? "Compress" : "Decompress");
});

}  // namespace
}  // namespace quillbrook
