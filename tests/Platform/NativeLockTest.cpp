// SPDX-License-Identifier: MIT
#include <sys/file.h>
#include <sys/mman.h>

#include <stdexcept>
#include <thread>

#include "NativeFixture.h"

namespace quillbrook::test {
namespace {

// A process that holds something until it is told to end.
class Holder {
 public:
  // `hold` takes it and returns whether it could.
  explicit Holder(const std::function<bool()>& hold) {
    int ready[2];
    int end[2];
    if (pipe(ready) != 0 || pipe(end) != 0) return;
    child_ = fork();
    if (child_ == 0) {
      close(end[1]);
      const char answer = hold() ? 'y' : 'n';
      if (write(ready[1], &answer, 1) != 1) _exit(1);
      char ignored;
      _exit(read(end[0], &ignored, 1) == 0 ? 0 : 1);
    }
    close(ready[1]);
    close(end[0]);
    end_ = FileDescriptor(end[1]);
    char answer = 0;
    isHolding = read(ready[0], &answer, 1) == 1 && answer == 'y';
    close(ready[0]);
  }
  ~Holder() { stop(); }
  void stop() {
    if (child_ <= 0) return;
    end_.reset();
    waitpid(child_, nullptr, 0);
    child_ = 0;
  }

  bool isHolding = false;

 private:
  pid_t child_ = 0;
  FileDescriptor end_;
};

class NativeLock : public NativeFixture {
 protected:
  static std::unique_ptr<LockableFile> opened(const FilePath& file) {
    auto lock = FileSystem::native().openForLocking(file);
    if (!lock) throw std::runtime_error("open: " + lock.error().text());
    return std::move(*lock);
  }
};

TEST_F(NativeLock, RefusesWhatOthersHold) {
  const auto file = ordinary("f", "content");
  const struct {
    const char* name;
    std::function<bool()> hold;
  } cases[] = {
      {"flock", [&] { return flock(open(file.c_str(), O_RDONLY), LOCK_EX) == 0; }},
      {"open for writing", [&] { return open(file.c_str(), O_WRONLY) >= 0; }},
      {"open for appending", [&] { return open(file.c_str(), O_RDWR | O_APPEND) >= 0; }},
      {"mapped for writing",
       [&] {
         const FileDescriptor descriptor(open(file.c_str(), O_RDWR));
         return mmap(nullptr, 7, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor.get(), 0) != MAP_FAILED;
       }},
  };
  for (const auto& c : cases) {
    Holder holder(c.hold);
    ASSERT_TRUE(holder.isHolding) << c.name;
    const auto lock = opened(file);
    EXPECT_EQ(lock->flock().error(), ErrorNumber::wouldBlock) << c.name;
    EXPECT_FALSE(lock->isHeld()) << c.name;
    holder.stop();
    EXPECT_TRUE(lock->flock()) << c.name << " is over";
    EXPECT_TRUE(lock->isHeld()) << c.name;
  }
}

TEST_F(NativeLock, IsLostToALaterWriterWhoNeedNotWait) {
  const auto file = ordinary("f", "content");
  const struct {
    const char* name;
    int flags;
    bool isLost;
  } cases[] = {{"reader", O_RDONLY, false}, {"writer", O_WRONLY, true}, {"truncating", O_RDWR | O_TRUNC, true}};
  for (const auto& c : cases) {
    const auto lock = opened(file);
    ASSERT_TRUE(lock->flock());
    ASSERT_TRUE(lock->isHeld());
    // The test's own time limit is far above the 45 s that the kernel gives a holder who does not answer.
    EXPECT_EQ(inOtherProcess([&] {
                alarm(20);
                return open(file.c_str(), c.flags) >= 0 ? 0 : 1;
              }),
              0)
        << c.name;
    EXPECT_EQ(lock->isHeld(), !c.isLost) << c.name;
  }
}

TEST_F(NativeLock, ManyAtOnceInManyThreads) {
  std::atomic<int> right = 0;
  {
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < 20; ++i) {
          const auto file = ordinary("f" + std::to_string(t), "x");
          auto lock = opened(file);
          if (!lock->flock() || !lock->isHeld()) continue;
          const FileDescriptor writer(open(file.c_str(), O_WRONLY | O_CLOEXEC));
          right += writer.isOpen() && !lock->isHeld();
        }
      });
    }
  }
  EXPECT_EQ(right, 80);
}

// A child that goes on without exec has no thread of its parent's.
TEST_F(NativeLock, WorksInAChildOfAProcessThatUsedIt) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the thread sanitizer ends a child that starts a thread";
#endif
  const auto file = ordinary("f", "x");
  ASSERT_TRUE(opened(file)->flock());
  EXPECT_EQ(inOtherProcess([&] {
              alarm(20);
              const auto lock = opened(file);
              if (!lock->flock() || !lock->isHeld()) return 1;
              return open(file.c_str(), O_WRONLY) >= 0 && !lock->isHeld() ? 0 : 2;
            }),
            0);
}

TEST_F(NativeLock, KeepsAwayFromTheStore) {
  ASSERT_EQ(setenv("XDG_DATA_HOME", folder.c_str(), 1), 0);
  ASSERT_EQ(mkdir(path("Quillbrook").c_str(), 0700), 0);
  for (const auto* name : {"Quillbrook/store.sqlite", "Quillbrook/store.sqlite-wal"}) {
    const auto store = ordinary(name, "x");
    const FileDescriptor held(open(store.c_str(), O_RDWR | O_CLOEXEC));
    struct flock range{.l_type = F_WRLCK, .l_whence = SEEK_SET, .l_start = 0, .l_len = 0, .l_pid = 0};
    ASSERT_EQ(fcntl(held.get(), F_SETLK, &range), 0);
    EXPECT_EQ(opened(store)->flock().error(), ErrorNumber::wouldBlock) << name;
    // Our own lock on it has not been dropped by that.
    EXPECT_EQ(inOtherProcess([&] {
                struct flock other{.l_type = F_WRLCK, .l_whence = SEEK_SET, .l_start = 0, .l_len = 0, .l_pid = 0};
                return fcntl(open(store.c_str(), O_RDWR), F_SETLK, &other) == -1 ? 0 : 1;
              }),
              0)
        << name;
  }
  EXPECT_TRUE(opened(ordinary("Quillbrook/other", "x"))->flock());
  EXPECT_TRUE(opened(ordinary("store.sqlite", "x"))->flock()) << "only a file of that name elsewhere";
  ASSERT_EQ(unsetenv("XDG_DATA_HOME"), 0);
}

}  // namespace
}  // namespace quillbrook::test
