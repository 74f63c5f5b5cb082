// SPDX-License-Identifier: MIT
// Every call of every sequence is failed in turn with every error that it can give. Whatever happens, the user's file
// is whole, what is not ours stays, and no lock is left behind.

#include "Compression/FileCompressor.h"
#include "Compression/WorkFile.h"
#include "Platform/Log.h"
#include "Route.h"
#include "Support/FaultyFileSystem.h"
#include "Support/MemoryFileSystem.h"
#include "TestData.h"

namespace quillbrook::test {
namespace {

using Call = FaultyFileSystem::Call;
using Node = MemoryFileSystem::Node;

constexpr std::string_view marker = WorkFile::marker;
constexpr std::string_view success = "success";
constexpr std::string_view conflict = "temporaryFileConflict(/a.slimtmp)";

// What file systems answer, whichever call it is.
constexpr auto errors = std::to_array({EPERM, ENOENT, EINTR, EIO, EAGAIN, EACCES, EBUSY, EEXIST, EINVAL, EMFILE, ENOSPC,
                                       EROFS, ENAMETOOLONG, ENOLCK, ERANGE, ENODATA, ENOTSUP, ECANCELED, EDQUOT});

// Two blocks where blocks are what is worked on; otherwise the smallest that needs a fork.
Bytes content(const Route& route) {
  if (!route.streams) return noise(4'000);
  Bytes result(65'536, 'x');
  result.insert(result.end(), 300, 'y');
  return result;
}

// What is expected of one failing call. {n} stands for the number, {t} for the system's words.
struct Rule {
  std::string call;         // operation, attribute, and whose: "a" or "work"
  std::size_t nth;          // 0: any
  std::vector<int> errors;  // none: any
  std::string outcome;      // "io": an ioError of the file that the call is for, with this detail
  std::string lost;         // what of the file's identity may differ afterwards
  std::string log;          // without its end
};

std::vector<Rule> rules(const Route& route) {
  const std::string read = route.compresses ? "read source" : "read compressed";
  const std::string open = route.compresses ? "open source for streaming" : "open compressed for streaming";
  const std::string write = route.streams && !route.compresses ? "write slimtmp: {t}" : "write rsrc fork: errno={n}";
  const std::string close = route.compresses ? "close rsrc fork: errno={n}" : "close slimtmp: {t}";
  const std::string changed = "fileChangedDuringOperation(/a)";
  const std::string done(success);
  const std::string foreign(conflict);
  const std::vector<int> any;
  const std::string mark(marker);
  return {
      {"lstat a", 2, any, changed, "", ""},
      {"lstat a", 3, any, changed, "", ""},
      {"lstat a", 0, {ENOENT}, "fileNotFound(/a)", "", ""},
      {"lstat a", 0, any, "io lstat: errno={n}", "", ""},
      {"getxattr com.apple.ResourceFork a", 0, any, done, "", ""},
      {"openForLocking a", 0, {ENOENT}, "fileNotFound(/a)", "", ""},
      {"openForLocking a", 0, any, "io open: errno={n}", "", ""},
      {"flock a", 0, {EWOULDBLOCK}, "fileInUse(/a)", "", ""},
      {"flock a", 0, any, "io flock: errno={n}", "", ""},
      {"openForReading a", 0, any, "io " + (route.streams ? open : read + ": {t}"), "", ""},
      {"read a", 0, any, "io " + read + ": {t}", "", ""},
      {"createExclusively work", 0, {EEXIST}, foreign, "", ""},
      {"createExclusively work", 0, any, "io create slimtmp: errno={n}", "", ""},
      {"lstat work", 0, any, foreign, "", ""},
      {"getxattr " + mark + " work", 0, any, foreign, "", ""},
      {"unlink work", 0, any, "io unlink stale slimtmp: errno={n}", "", ""},
      {"fsetxattr " + mark + " work", 0, any, done, "", "slimtmp marker setxattr failed"},
      {"openResourceFork work", 0, any, "io open rsrc fork: errno={n}", "", ""},
      {"lseek work", 0, any, "io lseek rsrc fork: errno={n}", "", ""},
      {"write work", 0, {EINTR}, done, "", ""},
      {"write work", 0, any, "io " + write, "", ""},
      {"close work", 0, any, "io " + close, "", ""},
      {"chown work", 0, any, done, "owner", "chown failed"},
      {"listxattr a", 1, {ENOTSUP}, done, "attributes", ""},
      {"listxattr a", 1, any, "io listxattr size: errno={n}", "", ""},
      {"listxattr a", 2, any, "io listxattr read: errno={n}", "", ""},
      {"getxattr x.empty a", 1, any, done, "attributes", "xattr copy failed (getxattr size x.empty)"},
      {"setxattr x.empty work", 0, any, done, "attributes", "xattr copy failed (setxattr empty x.empty)"},
      {"getxattr x.value a", 1, any, done, "attributes", "xattr copy failed (getxattr size x.value)"},
      {"getxattr x.value a", 2, any, done, "attributes", "xattr copy failed (getxattr value x.value)"},
      {"setxattr x.value work", 0, any, done, "attributes", "xattr copy failed (setxattr x.value)"},
      {"copyACL work", 0, any, done, "ACL", "ACL copy failed"},
      {"setxattr com.apple.decmpfs work", 0, any, "io setxattr: errno={n}", "", ""},
      {"setxattr com.apple.ResourceFork work", 0, any, "io setxattr: errno={n}", "", ""},
      {"setFileTimes work", 0, any, done, "times", "utimensat failed"},
      {"setCreationTime work", 0, any, done, "creation time", ""},
      {"chmod work", 0, any, done, "mode", "chmod failed"},
      {"chflags work", 0, {EPERM}, done, route.compresses ? "" : "flags", ""},
      {"chflags work", 0, any, route.compresses ? "io chflags: errno={n}" : done, "flags", ""},
      {"openForReading work", 0, any, "io open for readback verification", "", ""},
      {"read work", 0, any, "io readback: {t}", "", ""},
      {"isHeld a", 0, any, changed, "", ""},
      {"removexattr " + mark + " work", 0, {ENODATA}, done, "attributes", ""},
      {"removexattr " + mark + " work", 0, any, done, "attributes", "slimtmp marker removexattr failed"},
      {"rename a", 0, any, "io rename: errno={n}", "", ""},
  };
}

std::string filledIn(std::string text, ErrorNumber error) {
  const auto fill = [&](std::string_view mark, const std::string& value) {
    if (const auto at = text.find(mark); at != std::string::npos) text.replace(at, mark.size(), value);
  };
  fill("{n}", std::to_string(error.value));
  fill("{t}", error.text());
  return text;
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
  if (lost == "owner") node.status.st_uid = node.status.st_gid = 0;
  if (lost == "mode") node.status.st_mode = 0;
  if (lost == "times") node.status.st_atimespec = node.status.st_mtimespec = {};
  if (lost == "creation time") node.status.st_birthtimespec = {};
  return node;
}

enum class Beside { nothing, debris, foreign };

class FaultTest : public testing::TestWithParam<Route> {
 protected:
  FaultTest() {
    auto& node = start_.put(url_, content(route_));
    node.status.st_uid = 1'000;
    node.status.st_gid = 2'000;
    node.status.st_mode = 0640;
    node.status.st_flags = UF_NODUMP;
    node.accessControlList = "user:33:r--";
    node.attributes = {{"x.empty", {}}, {"x.value", {1, 2, 3}}};
    if (!route_.compresses) {
      EXPECT_EQ((Route{true, route_.streams}.run(url_, start_)), success);
    }
    before_ = start_.at(url_);
  }

  void putBeside(MemoryFileSystem& memory, Beside beside) const {
    if (beside == Beside::nothing) return;
    auto& node = memory.put(workFile_, leftOver_);
    if (beside == Beside::debris) node.attributes[std::string(marker)] = {1};
  }
  // The calls of a run in which nothing fails.
  [[nodiscard]] std::vector<Call> trace(Beside beside) const {
    MemoryFileSystem memory(start_);
    putBeside(memory, beside);
    FaultyFileSystem counting(memory, nullptr);
    EXPECT_EQ(route_.run(url_, counting), beside == Beside::foreign ? conflict : success);
    return counting.calls();
  }
  [[nodiscard]] std::string labelOf(const Call& call) const {
    return call.label() + (call.path == url_ ? " a" : " work");
  }
  [[nodiscard]] bool isReplaced(const MemoryFileSystem& memory) const {
    return memory.at(url_).status.st_ino != before_.status.st_ino;
  }
  // Holds what it held, in one form or the other, and can be worked on. The untouched file: even with its times, but
  // for the one that reading sets.
  void expectWhole(const MemoryFileSystem& memory) const {
    EXPECT_EQ(memory.read(url_), content(route_));
    EXPECT_FALSE(memory.at(url_).isLocked);
    if (isReplaced(memory)) return;
    Node before = before_;
    before.status.st_atimespec = memory.at(url_).status.st_atimespec;
    EXPECT_EQ(memory.at(url_), before);
  }

  const FilePath url_{"/a"};
  const FilePath workFile_{"/a.slimtmp"};
  const Bytes leftOver_ = bytesOf("left over");
  const Route route_ = GetParam();
  MemoryFileSystem start_;
  Node before_;
};

TEST_P(FaultTest, EachCallFailsWithEachError) {
  const std::vector<Rule> known = rules(route_);
  for (const Beside beside : {Beside::nothing, Beside::debris, Beside::foreign}) {
    std::map<std::string, std::size_t> seen;
    for (const Call& call : trace(beside)) {
      const std::size_t nth = ++seen[labelOf(call)];
      for (const int number : errors) {
        const ErrorNumber error{number};
        SCOPED_TRACE(labelOf(call) + " no. " + std::to_string(nth) + ": " + error.text());
        const auto rule = std::ranges::find_if(known, [&](const Rule& r) {
          return r.call == labelOf(call) && (r.nth == 0 || r.nth == nth) &&
                 (r.errors.empty() || std::ranges::count(r.errors, number) != 0);
        });
        ASSERT_NE(rule, known.end());
        // Where something stands already, a first "exists" is nothing new.
        const bool isNoFault =
            beside != Beside::nothing && call.operation == "createExclusively" && nth == 1 && number == EEXIST;
        std::string expected(isNoFault ? success : rule->outcome);
        if (expected == success && beside == Beside::foreign) expected = conflict;
        if (expected.starts_with("io ")) {
          expected = filledIn("ioError(" + call.path.bytes() + ", " + expected.substr(3) + ")", error);
        }

        MemoryFileSystem memory(start_);
        putBeside(memory, beside);
        FaultyFileSystem faulty(
            memory, [&](const Call& c) { return c.number == call.number ? std::optional(error) : std::nullopt; });
        const auto began = std::chrono::system_clock::now();
        EXPECT_EQ(route_.run(url_, faulty), expected);

        expectWhole(memory);
        const bool replaced = isReplaced(memory);
        // Only the closing look comes after the swap.
        EXPECT_EQ(replaced, expected == success || (labelOf(call) == "lstat a" && nth == 4));
        if (replaced) {
          EXPECT_EQ(identity(memory.at(url_), rule->lost), identity(before_, rule->lost));
        }
        // Nothing of ours stays but debris that was not reached or could not be removed.
        EXPECT_TRUE(beside == Beside::foreign ? memory.exists(workFile_)
                                              : beside == Beside::debris || !memory.exists(workFile_));
        EXPECT_TRUE(!memory.exists(workFile_) || memory.at(workFile_).data == leftOver_);
        if (!rule->log.empty()) {
          const LogEntry last = Log::entries().back();
          EXPECT_EQ(last.message, filledIn(rule->log + " for <private>: errno={n}", error));
          EXPECT_GE(last.time, began);
        }
        const std::string done = route_.compresses ? "alreadyCompressed(/a)" : "notCompressed(/a)";
        const std::string again(replaced ? done : success);
        EXPECT_EQ(route_.run(url_, memory), beside == Beside::foreign ? conflict : again);
        EXPECT_EQ(memory.exists(workFile_), beside == Beside::foreign);
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
    EXPECT_NE(route_.run(url_, faulty), success);
    expectWhole(memory);
    if (!isReplaced(memory)) {
      const bool marked = !memory.exists(workFile_) || memory.at(workFile_).attributes.contains(marker);
      EXPECT_EQ(marked, call.operation != "fsetxattr" && call.operation != "rename");
      EXPECT_EQ(route_.run(url_, memory), marked ? success : conflict);
      EXPECT_EQ(memory.exists(workFile_), !marked);
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
    EXPECT_EQ(route_.run(url_, faulty), success);
    expectWhole(memory);
    EXPECT_EQ(identity(memory.at(url_)), identity(before_));
  }
}

TEST_P(FaultTest, FlagsRefusedTwiceAndAnExchangeHalfDone) {
  // The call, its error, what comes of it, and whether what stands at the work file's name may not be touched.
  const std::vector<std::tuple<std::string, ErrorNumber, std::string, bool>> cases{
      {"chflags", ErrorNumber::notPermitted, "ioError(/a.slimtmp, chflags fallback: errno=1)", false},
      {"rename", ErrorNumber::notRecoverable, "ioError(/a, rename: errno=131)", true},
  };
  for (const auto& [operation, error, outcome, stays] : cases) {
    MemoryFileSystem memory(start_);
    FaultyFileSystem faulty(
        memory, [&](const Call& call) { return call.operation == operation ? std::optional(error) : std::nullopt; });
    const bool isIgnored = operation == "chflags" && !route_.compresses;
    EXPECT_EQ(route_.run(url_, faulty), isIgnored ? success : outcome);
    expectWhole(memory);
    EXPECT_EQ(memory.exists(workFile_), stays);
  }
}

INSTANTIATE_TEST_SUITE_P(Routes, FaultTest, testing::ValuesIn(routes), routeName);

}  // namespace
}  // namespace quillbrook::test
