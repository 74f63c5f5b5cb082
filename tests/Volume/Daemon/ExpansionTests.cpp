// SPDX-License-Identifier: MIT
#include <sys/ptrace.h>

#include "Compression/Header/DecmpfsHeader.h"
#include "MountedFolder.h"
#include "Platform/Linux/BackingFile.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/LittleEndian.h"
#include "Platform/ReservedNames.h"
#include "SmallFileSystem.h"
#include "Support/CompressingFileSystem.h"
#include "Volume/Expansion/Expansion.h"
#include "Volume/Expansion/ExpansionRecovery.h"

namespace quillbrook {
namespace {

// A folder with a compressed file, and no daemon.
struct BareVolume {
  BareVolume() {
    Content::write(path, bytes);
    EXPECT_EQ(chmod(path.c_str(), 04711), 0);
    const std::array<timespec, 2> times{timespec{11, 12}, timespec{13, 14}};
    EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
    Content::compress(path, CompressingFileSystem::instance());
  }
  void expand(bool toNothing) const {
    const FileDescriptor file = Content::open(path, O_RDWR);
    const auto state = StoredState::read(file.get());
    if (!state || !*state) return;
    static_cast<void>(toNothing ? Expansion::expandToNothing(file.get(), **state)
                                : Expansion::expand(source.get(), file.get(), **state));
  }
  // What the daemon reads.
  [[nodiscard]] std::string content() const {
    auto file = BackingFile::open(Content::open(path), source.get());
    if (!file) return "unreadable: " + file.error().text();
    std::string result((*file)->byteCount().value_or(0), '\0');
    ContainerReader::Scratch scratch;
    const auto count = (*file)->read(0, {reinterpret_cast<std::uint8_t*>(result.data()), result.size()}, scratch);
    return count && *count == result.size() ? result : "short";
  }
  [[nodiscard]] bool namesCopy() const {
    const auto state = StoredState::read(Content::open(path).get());
    return state && *state && (*state)->redoIdentifier != 0;
  }
  [[nodiscard]] long copyCount() const {
    const std::string redo = folder.at(".quillbrook-volume/redo");
    return std::filesystem::exists(redo) ? std::distance(std::filesystem::directory_iterator(redo), {}) : 0;
  }

  const ScratchFolder folder;
  const std::string path = folder.at("f");
  const std::string bytes = Content::text(200'000) + std::string(100'000, '\0') + "end";
  const FileDescriptor source = Content::open(folder.folder().bytes(), O_DIRECTORY);
};

// Runs `operation` in a child that is killed as it enters its system call number `fatal`. Whether it got there.
bool killedAtCall(const std::function<void()>& operation, int fatal) {
  const pid_t child = fork();
  if (child == 0) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    static_cast<void>(raise(SIGSTOP));
    operation();
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  // Each call stops twice, before and after.
  for (int stop = 1; WIFSTOPPED(status); ++stop) {
    if (stop == 2 * fatal) kill(child, SIGKILL);
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    waitpid(child, &status, 0);
  }
  EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0);
  return WIFSIGNALED(status);
}

TEST(ExpansionTest, KeepsEverythingButTheFormWithACrashAtAnyCallOrNone) {
  int call = 0;
  for (bool killed = true; killed;) {
    SCOPED_TRACE(++call);
    const BareVolume volume;
    const ino_t number = Content::status(volume.path).st_ino;
    killed = killedAtCall([&] { volume.expand(false); }, call);
    ASSERT_EQ(volume.content(), volume.bytes);
    const RecoveryOutcome outcome = ExpansionRecovery::run(volume.source.get());
    ASSERT_EQ(outcome.settled, outcome.found);
    ASSERT_EQ(sentence(outcome), "");
    ASSERT_EQ(volume.content(), volume.bytes) << "after recovery";
    ASSERT_EQ(volume.copyCount(), 0);
    const struct stat status = Content::status(volume.path);
    ASSERT_EQ(status.st_ino, number);
    ASSERT_EQ(status.st_mtim.tv_sec, 13);
    ASSERT_EQ(status.st_mtim.tv_nsec, 14);
    ASSERT_EQ(status.st_mode & 07777U, 04711U);
    if (killed) continue;
    EXPECT_EQ(Content::read(volume.path), volume.bytes);
    EXPECT_FALSE(Content::isCompressed(volume.path));
    EXPECT_LT(status.st_blocks * 512, 230'000) << "the zeros are no hole";
  }
  EXPECT_GT(call, 20);
}

TEST(ExpansionTest, AStopLeavesTheContainerAndNoCopy) {
  const BareVolume volume;
  const std::string container = Content::read(volume.path);
  const FileDescriptor file = Content::open(volume.path, O_RDWR);
  const auto state = StoredState::read(file.get());
  ASSERT_TRUE(state && *state);
  const std::stop_source stop;
  ASSERT_TRUE(stop.request_stop());
  const auto stopped = Expansion::expand(volume.source.get(), file.get(), **state, stop.get_token());
  EXPECT_EQ(stopped, std::unexpected(ErrorNumber::cancelled));
  EXPECT_TRUE(Content::read(volume.path) == container);
  EXPECT_EQ(StoredState::read(file.get()), state);
  EXPECT_EQ(volume.copyCount(), 0);
}

// A few bytes that promise more zeros than any disk has: writing them out would never end.
TEST(ExpansionTest, EndlessZerosAreNotWrittenOut) {
  const ScratchFolder folder;
  const std::string path = folder.at("f");
  FileSystem& files = CompressingFileSystem::instance();
  const std::uint64_t byteCount = std::uint64_t{1} << 61U;
  std::array<std::uint8_t, DecmpfsHeader::byteCount> value{'f', 'p', 'm', 'c', 5};
  LittleEndian::store(value.data() + 8, byteCount);
  ASSERT_TRUE(files.createExclusively(FilePath(path), 0600, FilePath("/")));
  ASSERT_TRUE(files.setxattr(FilePath(path), ReservedNames::decmpfs, value, {}));
  ASSERT_TRUE(files.chflags(FilePath(path), UF_COMPRESSED));

  const FileDescriptor source = Content::open(folder.folder().bytes(), O_DIRECTORY);
  const FileDescriptor file = Content::open(path, O_RDWR);
  const auto state = StoredState::read(file.get());
  ASSERT_TRUE(state && *state);
  const auto expanded = Expansion::expand(source.get(), file.get(), **state);
  if (expanded) {
    EXPECT_EQ(std::filesystem::file_size(path), byteCount);
  } else {
    EXPECT_EQ(expanded.error(), ErrorNumber{EFBIG});
    EXPECT_EQ(StoredState::read(file.get()), state);
  }
}

// Killed as soon as the state names the copy.
void interrupt(std::optional<BareVolume>& volume) {
  for (int call = 1; !volume || !volume->namesCopy(); ++call) {
    volume.emplace();
    ASSERT_TRUE(killedAtCall([&] { volume->expand(false); }, call));
  }
}

TEST(ExpansionTest, ACopyStaysWhoseFileLostItsState) {
  std::optional<BareVolume> volume;
  interrupt(volume);
  ASSERT_EQ(removexattr(volume->path.c_str(), std::string(ContainerState::attributeName).c_str()), 0);
  const RecoveryOutcome outcome = ExpansionRecovery::run(volume->source.get());
  EXPECT_EQ(outcome.settled, 0U);
  EXPECT_TRUE(sentence(outcome).contains("holds something else: " + volume->path)) << sentence(outcome);
  EXPECT_EQ(volume->copyCount(), 1);
}

// Moved away before the recovery: further down than a walk has descriptors for, or out of the folder altogether.
TEST(ExpansionTest, AMovedFileIsFoundOrToldToBeMissing) {
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit few{.rlim_cur = 150, .rlim_max = limit.rlim_max};
  for (const bool isInside : {true, false}) {
    std::optional<BareVolume> volume;
    interrupt(volume);
    const ScratchFolder elsewhere;
    std::string place = (isInside ? volume->folder : elsewhere).folder().bytes();
    for (int level = 0; level < 200; ++level) place += "/m";
    std::filesystem::create_directories(place);
    ASSERT_EQ(rename(volume->path.c_str(), (place + "/f").c_str()), 0);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    const RecoveryOutcome outcome = ExpansionRecovery::run(volume->source.get());
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(outcome.found, 1U);
    EXPECT_EQ(outcome.settled, isInside ? 1U : 0U);
    EXPECT_EQ(sentence(outcome).contains("its file was not found"), !isInside) << sentence(outcome);
    EXPECT_EQ(volume->copyCount(), isInside ? 0 : 1);
    EXPECT_TRUE(!isInside || Content::read(place + "/f") == volume->bytes);
  }
}

TEST(ExpansionTest, ACrashWhileEmptyingShowsTheContentOrNothing) {
  int call = 0;
  for (bool killed = true; killed;) {
    const BareVolume volume;
    killed = killedAtCall([&] { volume.expand(true); }, ++call);
    const std::string content = volume.content();
    ASSERT_TRUE(content.empty() || (killed && content == volume.bytes)) << "call " << call;
  }
  EXPECT_GT(call, 3);
}

// It shows the redo copy's content, and leaves everything as it is.
TEST(ExpansionTest, AReadOnlyVolumeReadsWhatAnInterruptedExpansionLeft) {
  if (const auto obstacle = MountedFolder::obstacle()) GTEST_SKIP() << *obstacle;
  std::optional<BareVolume> volume;
  interrupt(volume);
  const std::string folder = volume->folder.folder().bytes();
  {
    const MountedFolder mounted(folder, {"-o", "ro"});
    ASSERT_TRUE(mounted.isMounted());
    EXPECT_EQ(Content::read(mounted.at("f")), volume->bytes);
    EXPECT_EQ(outcome(Content::open(mounted.at("f"), O_WRONLY).get()), -EROFS);
    EXPECT_EQ(outcome(truncate(mounted.at("f").c_str(), 0)), -EROFS);
    EXPECT_EQ(outcome(mkdir(mounted.at("d").c_str(), 0700)), -EROFS);
  }
  EXPECT_TRUE(volume->namesCopy());
  EXPECT_EQ(volume->copyCount(), 1);
  const MountedFolder mounted(folder);
  ASSERT_TRUE(mounted.isMounted());
  EXPECT_EQ(Content::read(mounted.at("f")), volume->bytes);
  EXPECT_EQ(volume->copyCount(), 0);
}

// A file system so small that there is room for the container alone, or for the redo copy, but not for both and the
// rewritten file.
TEST(ExpansionTest, AFullDiskFailsTheOpeningAndLosesNothing) {
  if (const auto obstacle = MountedFolder::obstacle()) GTEST_SKIP() << *obstacle;
  const std::string bytes = Content::text(600'000);
  for (const std::size_t room : {20'000U, 400'000U, 700'000U}) {
    const ScratchFolder disk;
    const std::string place = disk.folder().bytes();
    const SmallFileSystem host(place, "size=4m");
    if (const auto obstacle = host.obstacle()) GTEST_SKIP() << *obstacle;
    const std::string source = disk.at("source");
    mkdir(source.c_str(), 0700);
    const MountedFolder mounted(source);
    ASSERT_TRUE(mounted.isMounted());
    const std::string path = mounted.at("f");
    const std::string ballast = mounted.at("ballast");
    Content::write(path, bytes);
    Content::compress(path);
    Content::write(ballast, std::string(std::filesystem::space(place).free - room, 'b'));
    const FileDescriptor reader = Content::open(path);
    EXPECT_EQ(outcome(Content::open(path, O_WRONLY).get()), -ENOSPC);
    EXPECT_EQ(truncate(path.c_str(), 5), -1);
    EXPECT_EQ(Content::read(path), bytes);
    EXPECT_EQ(Content::read(reader), bytes);
    EXPECT_TRUE(Content::isCompressed(path));
    EXPECT_EQ(truncate(ballast.c_str(), 0), 0);
    EXPECT_EQ(write(Content::open(path, O_WRONLY | O_APPEND).get(), "x", 1), 1);
    EXPECT_EQ(Content::read(path), bytes + "x");
  }
}

}  // namespace
}  // namespace quillbrook
