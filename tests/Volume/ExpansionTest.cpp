// SPDX-License-Identifier: MIT
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <sys/xattr.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>

#include "MountedFolder.h"
#include "Platform/Linux/BackingFile.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/VolumeRegistration.h"
#include "Volume/Expansion/Expansion.h"
#include "Volume/Expansion/ExpansionRecovery.h"

namespace quillbrook {
namespace {

// A folder with a compressed file, and no daemon.
struct BareVolume {
  BareVolume() {
    const VolumeRegistration registration(folder.folder());
    Content::write(path, bytes);
    EXPECT_EQ(chmod(path.c_str(), 04711), 0);
    const std::array<timespec, 2> times{timespec{11, 12}, timespec{13, 14}};
    EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
    Content::compress(path);
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

// Moved away before the recovery: further down than a walk has descriptors for, or out of the folder altogether.
TEST(ExpansionTest, AMovedFileIsFoundOrToldToBeMissing) {
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit few{.rlim_cur = 150, .rlim_max = limit.rlim_max};
  for (const bool isInside : {true, false}) {
    // Killed as soon as the state names the copy.
    std::optional<BareVolume> volume;
    for (int call = 1; !volume || !volume->namesCopy(); ++call) {
      volume.emplace();
      ASSERT_TRUE(killedAtCall([&] { volume->expand(false); }, call));
    }
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

// The daemon dies with an expansion under way; the next one completes it.
TEST(ExpansionTest, TheNextDaemonCompletesWhatTheLastOneBegan) {
  if (const auto obstacle = MountedFolder::obstacle()) GTEST_SKIP() << *obstacle;
  for (int call = 30; call <= 90; call += 10) {
    const BareVolume volume;
    if (!killedAtCall([&] { volume.expand(false); }, call)) break;
    const MountedFolder mounted(volume.folder.folder().bytes());
    ASSERT_TRUE(mounted.isMounted());
    EXPECT_EQ(Content::read(mounted.at("f")), volume.bytes) << call;
    EXPECT_EQ(volume.copyCount(), 0) << call;
  }
}

// A file system so small that there is room for the container alone, or for the redo copy, but not for both and the
// rewritten file.
TEST(ExpansionTest, AFullDiskFailsTheOpeningAndLosesNothing) {
  if (const auto obstacle = MountedFolder::obstacle()) GTEST_SKIP() << *obstacle;
  if (geteuid() != 0) GTEST_SKIP() << "mounting a small file system needs root";
  const std::string bytes = Content::text(600'000);
  for (const std::size_t room : {20'000U, 400'000U, 700'000U}) {
    const ScratchFolder disk;
    const std::string place = disk.folder().bytes();
    ASSERT_EQ(mount("none", place.c_str(), "tmpfs", 0, "size=4m"), 0);
    const std::string source = disk.at("source");
    mkdir(source.c_str(), 0700);
    if (setxattr(source.c_str(), "user.x", "x", 1, 0) != 0) {
      umount2(place.c_str(), MNT_DETACH);
      GTEST_SKIP() << "the temporary file system has no attributes here";
    }
    {
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
    umount2(place.c_str(), MNT_DETACH);
  }
}

}  // namespace
}  // namespace quillbrook
