// SPDX-License-Identifier: MIT

#include <sys/mount.h>

#include "StoreFixture.h"
#include "Support/ChildProcess.h"

namespace quillbrook::test {
namespace {

using testing::SizeIs;

// Saves a record at a time; whether all went well.
bool saveMany(const FilePath& store, int count) {
  const auto container = makeStoreContainer(store);
  if (!container) return false;
  StoreContext context(*container);
  for (int i = 0; i < count; ++i) {
    context.insert(log(i));
    if (!context.save()) return false;
  }
  return true;
}

class StoreSharing : public testing::Test {
 protected:
  ScratchFolder scratch;
  FilePath store = scratch.path("store.sqlite");
};

TEST_F(StoreSharing, ProcessesMakeAndFillOneStoreAtOnce) {
  constexpr int processes = 4;
  auto* const arrived =
      static_cast<std::atomic<int>*>(mmap(nullptr, 4'096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  for (int round = 1; round <= 10; ++round) {
    const auto path = scratch.path(std::to_string(round));
    std::array<pid_t, processes> children{};
    for (auto& child : children) {
      child = fork();
      if (child != 0) continue;
      for (++*arrived; *arrived < round * processes;) std::this_thread::yield();
      _exit(saveMany(path, 5) ? 0 : 1);
    }
    for (const pid_t child : children) {
      int status = -1;
      EXPECT_EQ(waitpid(child, &status, 0), child);
      EXPECT_EQ(status, 0);
    }
    EXPECT_THAT(saved<CompressionLog>(makeStoreContainer(path).value()), SizeIs(5 * processes));
  }
}

TEST_F(StoreSharing, AProcessThatIsKilledHasSavedAllOrNothing) {
  const auto container = makeStoreContainer(store).value();
  const auto saveForEver = [&] {
    StoreContext context(container);
    do {
      context.insert(item());
      context.insert(log());
    } while (context.save());
  };
  for (std::size_t round = 1; round <= 10; ++round) {
    const pid_t child = fork();
    if (child == 0) {
      saveForEver();
      _exit(1);
    }
    while (saved<CompressionLog>(container).size() < 5 * round) ASSERT_EQ(waitpid(child, nullptr, WNOHANG), 0);
    kill(child, SIGKILL);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_TRUE(makeStoreContainer(store));
    EXPECT_EQ(saved<RegisteredItem>(container).size(), saved<CompressionLog>(container).size());
  }
}

TEST_F(StoreSharing, AStoreThatStaysLockedIsToldAndNothingIsLost) {
  const auto lock = [](const FilePath& path, const char* sql) {
    static std::unique_ptr<Database> database;  // in a process of its own
    auto opened = Database::open(path);
    if (opened) database = std::move(*opened);
    return database && database->execute(StoreAction::save, sql);
  };
  const auto isBusy = [](const StoreError& error, StoreAction action) {
    const auto* busy = std::get_if<StoreErrors::Busy>(&error);
    return busy != nullptr && busy->action == action;
  };
  StoreContext context(makeStoreContainer(store).value());
  context.insert(log(1));
  ASSERT_TRUE(context.save());
  const auto other = scratch.path("other.sqlite");
  ASSERT_TRUE(makeStoreContainer(other));
  {
    const WaitingChild writer([&] { return lock(store, "BEGIN IMMEDIATE"); });
    const WaitingChild exclusive(
        [&] { return lock(other, "PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE; PRAGMA user_version = 20000"); });
    // At the same time, since each waits.
    const std::jthread opening([&] { EXPECT_TRUE(isBusy(makeStoreContainer(other).error(), StoreAction::open)); });
    context.insert(log(2));
    EXPECT_THAT(all<CompressionLog>(context), SizeIs(2)) << "reading waits for nobody";
    const auto refused = context.save();
    ASSERT_FALSE(refused);
    EXPECT_TRUE(isBusy(refused.error(), StoreAction::save)) << describe(refused.error());
  }
  EXPECT_TRUE(context.hasChanges());
  ASSERT_TRUE(context.save());
  EXPECT_THAT(all<CompressionLog>(context), SizeIs(2));
}

TEST_F(StoreSharing, AFullDiskIsToldAndNothingIsLost) {
  scratch.makeFolder("small");
  const auto small = scratch.path("small");
  if (mount("tmpfs", small.c_str(), "tmpfs", 0, "size=512k") != 0) GTEST_SKIP() << "no tmpfs can be mounted here";
  constexpr auto unmount = [](const FilePath* folder) { umount2(folder->c_str(), MNT_DETACH); };
  const std::unique_ptr<const FilePath, decltype(unmount)> mounted(&small, unmount);
  const auto fill = [&] {
    std::ofstream filler(small.appending("filler").bytes(), std::ios::app);
    while (filler << std::string(4'096, 'x') << std::flush) {
    }
  };
  ASSERT_TRUE(makeStoreContainer(small.appending("closed.sqlite")));
  const auto container = makeStoreContainer(small.appending("store.sqlite")).value();
  StoreContext context(container);
  context.insert(log(0));
  ASSERT_TRUE(context.save());
  fill();
  for (int i = 1; i < 2'000; ++i) context.insert(log(i));
  const auto refused = context.save();
  ASSERT_FALSE(refused);
  EXPECT_TRUE(std::holds_alternative<StoreErrors::DiskFull>(refused.error())) << describe(refused.error());
  EXPECT_THAT(saved<CompressionLog>(container), SizeIs(1));
  context.erase(context.fetch<CompressionLog>().value().front().handle);
  for (const char* name : {"new.sqlite", "closed.sqlite"}) {
    const auto opened = makeStoreContainer(small.appending(name));
    ASSERT_FALSE(opened) << name;
    EXPECT_TRUE(std::holds_alternative<StoreErrors::DiskFull>(opened.error())) << describe(opened.error());
  }
  std::filesystem::remove(small.appending("filler").bytes());
  const auto done = context.save();
  EXPECT_TRUE(done) << describe(done.error());
  EXPECT_THAT(saved<CompressionLog>(container), SizeIs(1'999));
}

}  // namespace
}  // namespace quillbrook::test
