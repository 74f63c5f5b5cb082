// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>

#include "MountedFolder.h"
#include "Platform/Linux/BackingFile.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/VolumeRegistration.h"
#include "Volume/Expansion/Expansion.h"
#include "Volume/Expansion/ExpansionRecovery.h"

namespace quillbrook {
namespace {

constexpr std::size_t byteCount = 200'000;

// A folder with a compressed file, and no daemon.
struct BareVolume {
  BareVolume() {
    const VolumeRegistration registration{FilePath(folder.path())};
    Content::write(path, bytes);
    EXPECT_EQ(chmod(path.c_str(), 04711), 0);
    const timespec times[2]{{11, 12}, {13, 14}};
    EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    Content::compress(path);
    source = FileDescriptor(open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }
  [[nodiscard]] FileDescriptor openFile() const { return FileDescriptor(open(path.c_str(), O_RDWR | O_CLOEXEC)); }
  [[nodiscard]] std::string content() const {
    auto file = BackingFile::open(FileDescriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC)), source.get());
    if (!file) return "unreadable: " + file.error().text();
    std::string result((*file)->byteCount().value_or(0), '\0');
    ContainerReader::Scratch scratch;
    const auto count = (*file)->read(0, {reinterpret_cast<std::uint8_t*>(result.data()), result.size()}, scratch);
    return count && *count == result.size() ? result : "short";
  }
  [[nodiscard]] bool namesCopy() const {
    const auto state = StoredState::read(openFile().get());
    return state && *state && (*state)->redoIdentifier != 0;
  }
  [[nodiscard]] std::size_t copyCount() const {
    const std::string redo = folder.path() + "/.quillbrook-volume/redo";
    if (!std::filesystem::exists(redo)) return 0;
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(redo), {}));
  }

  TemporaryFolder folder;
  std::string path = folder.path() + "/f";
  std::string bytes = Content::text(byteCount) + std::string(100'000, '\0') + "end";
  FileDescriptor source;
};

void expand(const BareVolume& volume) {
  const FileDescriptor file = volume.openFile();
  const auto state = StoredState::read(file.get());
  if (state && *state) static_cast<void>(Expansion::expand(volume.source.get(), file.get(), **state));
}

void empty(const BareVolume& volume) {
  const FileDescriptor file = volume.openFile();
  const auto state = StoredState::read(file.get());
  if (state && *state) static_cast<void>(Expansion::expandToNothing(file.get(), **state));
}

// Runs `operation` in a child that is killed as it enters its system call number `fatal`. Whether it got there.
bool killedAtCall(const std::function<void()>& operation, int fatal) {
  const pid_t child = fork();
  if (child == 0) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    operation();
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  // Each call stops twice, before and after.
  for (int stop = 1; WIFSTOPPED(status); ++stop) {
    if (stop == 2 * fatal) {
      kill(child, SIGKILL);
      waitpid(child, &status, 0);
      return true;
    }
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    waitpid(child, &status, 0);
  }
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  return false;
}

TEST(ExpansionTest, KeepsEverythingButTheForm) {
  const BareVolume volume;
  struct stat before{};
  ASSERT_EQ(stat(volume.path.c_str(), &before), 0);
  expand(volume);
  struct stat after{};
  ASSERT_EQ(stat(volume.path.c_str(), &after), 0);
  EXPECT_EQ(Content::read(volume.path), volume.bytes);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
  EXPECT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
  EXPECT_LT(after.st_blocks * 512, 230'000) << "the zeros are no hole";
  EXPECT_FALSE(Content::isCompressed(volume.path));
  EXPECT_EQ(volume.copyCount(), 0U);
}

TEST(ExpansionTest, ACrashAtAnyCallLeavesTheFileWhole) {
  int killed = 0;
  for (int call = 1;; ++call) {
    const BareVolume volume;
    if (!killedAtCall([&] { expand(volume); }, call)) break;
    ++killed;
    ASSERT_EQ(volume.content(), volume.bytes) << "call " << call;
    const RecoveryOutcome outcome = ExpansionRecovery::run(volume.source.get());
    ASSERT_EQ(outcome.settled, outcome.found) << "call " << call;
    ASSERT_EQ(sentence(outcome), "") << "call " << call;
    ASSERT_EQ(volume.content(), volume.bytes) << "call " << call << ", after recovery";
    ASSERT_EQ(volume.copyCount(), 0U) << "call " << call;
    struct stat status{};
    ASSERT_EQ(stat(volume.path.c_str(), &status), 0);
    ASSERT_EQ(status.st_mtim.tv_nsec, 14) << "call " << call;
    ASSERT_EQ(status.st_mode & 07777U, 04711U) << "call " << call;
  }
  EXPECT_GT(killed, 20);
}

// Moved away before the recovery: further down than a walk has descriptors for, or out of the folder altogether.
TEST(ExpansionTest, AMovedFileIsFoundOrToldToBeMissing) {
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit few{.rlim_cur = 150, .rlim_max = limit.rlim_max};
  for (const bool isInside : {true, false}) {
    // Killed as soon as the state names the copy.
    std::optional<BareVolume> interrupted;
    for (int call = 1; !interrupted || !interrupted->namesCopy(); ++call) {
      interrupted.emplace();
      ASSERT_TRUE(killedAtCall([&] { expand(*interrupted); }, call));
    }
    const BareVolume& volume = *interrupted;
    const TemporaryFolder elsewhere;
    std::string place = isInside ? volume.folder.path() : elsewhere.path();
    for (int level = 0; level < 200; ++level) place += "/m";
    std::filesystem::create_directories(place);
    ASSERT_EQ(rename(volume.path.c_str(), (place + "/f").c_str()), 0);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    const RecoveryOutcome outcome = ExpansionRecovery::run(volume.source.get());
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(outcome.found, 1U);
    EXPECT_EQ(outcome.settled, isInside ? 1U : 0U);
    EXPECT_EQ(sentence(outcome).contains("its file was not found"), !isInside) << sentence(outcome);
    EXPECT_EQ(volume.copyCount(), isInside ? 0U : 1U);
    if (isInside) {
      EXPECT_EQ(Content::read(place + "/f"), volume.bytes);
    }
  }
}

TEST(ExpansionTest, ACrashWhileEmptyingShowsTheContentOrNothing) {
  int killed = 0;
  for (int call = 1;; ++call) {
    const BareVolume volume;
    if (!killedAtCall([&] { empty(volume); }, call)) break;
    ++killed;
    const std::string content = volume.content();
    ASSERT_TRUE(content == volume.bytes || content.empty()) << "call " << call;
  }
  EXPECT_GT(killed, 3);
}

// A file system so small that there is room for the container alone, or for the redo copy, but not for both and the
// rewritten file.
TEST(ExpansionTest, AFullDiskFailsTheOpeningAndLosesNothing) {
  if (const auto obstacle = MountedFolder::obstacle()) GTEST_SKIP() << *obstacle;
  if (geteuid() != 0) GTEST_SKIP() << "mounting a small file system needs root";
  for (const std::size_t room : {20'000U, 400'000U, 900'000U}) {
    const TemporaryFolder disk;
    ASSERT_EQ(mount("none", disk.path().c_str(), "tmpfs", 0, "size=4m"), 0);
    const std::string source = disk.path() + "/source";
    mkdir(source.c_str(), 0700);
    if (setxattr(source.c_str(), "user.x", "x", 1, 0) != 0) {
      umount2(disk.path().c_str(), MNT_DETACH);
      GTEST_SKIP() << "the temporary file system has no attributes here";
    }
    const std::string bytes = Content::text(600'000);
    {
      MountedFolder mounted(source);
      ASSERT_TRUE(mounted.isMounted());
      Content::write(mounted.at("f"), bytes);
      Content::compress(mounted.at("f"));
      std::error_code error;
      const std::size_t free = std::filesystem::space(disk.path(), error).free;
      Content::write(mounted.at("ballast"), std::string(free - room, 'b'));
      const FileDescriptor reader(open(mounted.at("f").c_str(), O_RDONLY | O_CLOEXEC));
      EXPECT_EQ(open(mounted.at("f").c_str(), O_WRONLY | O_CLOEXEC), -1);
      EXPECT_EQ(errno, ENOSPC);
      EXPECT_EQ(truncate(mounted.at("f").c_str(), 5), -1);
      EXPECT_EQ(Content::read(mounted.at("f")), bytes);
      std::string seen(bytes.size(), '\0');
      EXPECT_EQ(pread(reader.get(), seen.data(), seen.size(), 0), static_cast<ssize_t>(seen.size()));
      EXPECT_EQ(seen, bytes);
      EXPECT_TRUE(Content::isCompressed(mounted.at("f")));
      EXPECT_EQ(truncate(mounted.at("ballast").c_str(), 0), 0);
      const FileDescriptor writer(open(mounted.at("f").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
      EXPECT_EQ(write(writer.get(), "x", 1), 1);
      EXPECT_EQ(Content::read(mounted.at("f")), bytes + "x");
    }
    umount2(disk.path().c_str(), MNT_DETACH);
  }
}

// The daemon dies with an expansion under way; the next one completes it.
TEST(ExpansionTest, TheNextDaemonCompletesWhatTheLastOneBegan) {
  if (const auto obstacle = MountedFolder::obstacle()) GTEST_SKIP() << *obstacle;
  for (int call = 30; call <= 90; call += 10) {
    const BareVolume volume;
    if (!killedAtCall([&] { expand(volume); }, call)) break;
    MountedFolder mounted(volume.folder.path());
    ASSERT_TRUE(mounted.isMounted());
    EXPECT_EQ(Content::read(mounted.at("f")), volume.bytes) << call;
    EXPECT_EQ(volume.copyCount(), 0U) << call;
  }
}

}  // namespace
}  // namespace quillbrook
