// SPDX-License-Identifier: MIT

#include "NativeFixture.h"

namespace quillbrook::test {
namespace {

class NativeLock : public NativeFixture {};

TEST_F(NativeLock, RefusesWhatOthersHold) {
  const auto file = ordinary("f", "content");
  const std::vector<std::pair<std::string, std::function<bool()>>> cases{
      {"flock", [&] { return flock(open(file.c_str(), O_RDONLY), LOCK_EX) == 0; }},
      {"open for writing", [&] { return open(file.c_str(), O_WRONLY) >= 0; }},
      {"open for appending", [&] { return open(file.c_str(), O_RDWR | O_APPEND) >= 0; }},
      {"mapped for writing",
       [&] {
         const FileDescriptor descriptor(open(file.c_str(), O_RDWR));
         return mmap(nullptr, 7, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor.get(), 0) != MAP_FAILED;
       }},
  };
  for (const auto& [name, hold] : cases) {
    SCOPED_TRACE(name);
    const auto lock = opened(file);
    {
      const WaitingChild holder(hold);
      EXPECT_EQ(lock->flock().error(), ErrorNumber::wouldBlock);
      EXPECT_FALSE(lock->isHeld());
    }
    EXPECT_TRUE(lock->flock() && lock->isHeld()) << "it is over";
  }
}

TEST_F(NativeLock, IsLostToALaterWriterWhoNeedNotWait) {
  const auto file = ordinary("f", "content");
  for (const int flags : {O_RDONLY, O_WRONLY, O_RDWR | O_TRUNC}) {
    const auto lock = locked(file);
    ASSERT_TRUE(lock->isHeld());
    // The limit of the other process is far below the 45 s that the kernel gives a holder who does not answer.
    EXPECT_EQ(inOtherProcess([&] { return open(file.c_str(), flags) >= 0 ? 0 : 1; }), 0) << flags;
    EXPECT_EQ(lock->isHeld(), flags == O_RDONLY) << flags;
  }
}

// Whoever may rename the folder above chooses neither where the work file is made nor what is removed.
TEST_F(NativeLock, KeepsToTheFolderInWhichItWasTaken) {
  for (const char* name : {"mine", "others"}) ASSERT_TRUE(std::filesystem::create_directory(path(name).bytes()));
  const auto file = ordinary("mine/f", "content");
  const auto lock = locked(file);
  std::filesystem::rename(path("mine").bytes(), path("moved").bytes());
  std::filesystem::create_directory_symlink(path("others").bytes(), path("mine").bytes());
  ASSERT_TRUE(files.createExclusively(path("mine/f.slimtmp"), 0600, file));
  EXPECT_TRUE(std::filesystem::exists(path("moved/f.slimtmp").bytes()));
  EXPECT_TRUE(std::filesystem::is_empty(path("others").bytes()));
  ASSERT_TRUE(files.unlink(path("mine/f.slimtmp")));
  EXPECT_FALSE(std::filesystem::exists(path("moved/f.slimtmp").bytes()));
}

TEST_F(NativeLock, ManyAtOnceInManyThreads) {
  const auto useLocks = [&](int thread) {
    const auto file = ordinary("f" + std::to_string(thread), "x");
    for (int i = 0; i < 20; ++i) {
      const auto lock = locked(file);
      EXPECT_TRUE(lock->isHeld());
      const FileDescriptor writer(open(file.c_str(), O_WRONLY | O_CLOEXEC));
      EXPECT_TRUE(writer.isOpen() && !lock->isHeld());
    }
  };
  std::vector<std::jthread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) threads.emplace_back(useLocks, i);
}

// A child that goes on without exec has no thread of its parent's.
TEST_F(NativeLock, WorksInAChildOfAProcessThatUsedIt) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the thread sanitizer ends a child that starts a thread";
#endif
  const auto file = ordinary("f", "x");
  EXPECT_TRUE(locked(file)->isHeld());
  EXPECT_EQ(inOtherProcess([&] {
              const auto lock = opened(file);
              if (!lock->flock() || !lock->isHeld()) return 1;
              return open(file.c_str(), O_WRONLY) >= 0 && !lock->isHeld() ? 0 : 2;
            }),
            0);
}

TEST_F(NativeLock, KeepsAwayFromTheStore) {
  ASSERT_EQ(setenv("XDG_DATA_HOME", folder.c_str(), 1), 0);
  ASSERT_TRUE(std::filesystem::create_directory(path("Quillbrook").bytes()));
  for (const auto* name : {"Quillbrook/store.sqlite", "Quillbrook/store.sqlite-wal"}) {
    const auto store = ordinary(name, "x");
    const auto lockRange = [](int file) {
      struct flock range{.l_type = F_WRLCK, .l_whence = SEEK_SET, .l_start = 0, .l_len = 0, .l_pid = 0};
      return fcntl(file, F_SETLK, &range);
    };
    const FileDescriptor held(open(store.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(lockRange(held.get()), 0);
    EXPECT_EQ(opened(store)->flock().error(), ErrorNumber::wouldBlock) << name;
    // Our own lock on it has not been dropped by that.
    EXPECT_EQ(inOtherProcess([&] { return lockRange(open(store.c_str(), O_RDWR)) == -1 ? 0 : 1; }), 0) << name;
  }
  EXPECT_TRUE(opened(ordinary("Quillbrook/other", "x"))->flock());
  EXPECT_TRUE(opened(ordinary("store.sqlite", "x"))->flock()) << "only a file of that name elsewhere";
  ASSERT_EQ(unsetenv("XDG_DATA_HOME"), 0);
}

}  // namespace
}  // namespace quillbrook::test
