// SPDX-License-Identifier: MIT

#include "StoreFixture.h"
#include "Support/OrdinaryUser.h"

namespace quillbrook::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* earliest = "schema-1.0.0.sqlite";
constexpr const char* latest = "schema-2.0.0.sqlite";

// Not opened yet, unlike the fixture's.
class StoreOpening : public testing::Test {
 protected:
  [[nodiscard]] FilePath store() const { return scratch.path("store.sqlite"); }

  void keep(const char* name) const {
    std::filesystem::copy_file(std::filesystem::path(QUILLBROOK_KEPT_STORES) / name, store().bytes(),
                               std::filesystem::copy_options::overwrite_existing);
  }
  // Every file beside the store and itself, with what is in it.
  [[nodiscard]] std::map<std::string, std::string> files() const {
    std::map<std::string, std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(scratch.folder().bytes())) {
      const std::string name = entry.path().filename();
      if (!name.ends_with("-shm")) found[name] = entry.is_directory() ? "" : scratch.read(name);
    }
    return found;
  }
  [[nodiscard]] std::string refusal() const {
    const auto opened = makeStoreContainer(store());
    return opened ? "opened" : describe(opened.error());
  }

  ScratchFolder scratch;
};

TEST_F(StoreOpening, ANewStoreIsItsOwnersAlone) {
  const auto mask = umask(0);
  StoreContext context(makeStoreContainer(store()).value());
  context.insert(item());
  ASSERT_TRUE(context.save());
  umask(mask);
  for (const char* name : {"store.sqlite", "store.sqlite-wal", "store.sqlite-shm"}) {
    struct stat status{};
    ASSERT_EQ(stat(scratch.path(name).c_str(), &status), 0) << name;
    EXPECT_EQ(status.st_mode & 07777, 0600U) << name;
  }
}

TEST_F(StoreOpening, EveryVersionThatEverWasIsReadWhole) {
  for (const char* name : {earliest, latest}) {
    SCOPED_TRACE(name);
    keep(name);
    for (int round = 0; round < 2; ++round) {
      StoreContext context(makeStoreContainer(store()).value());
      EXPECT_THAT(all<RegisteredItem>(context), ElementsAre(item(), itemWithNotes()));
      const auto owner = context.fetch<RegisteredItem>().value().front().handle;
      EXPECT_THAT(all<FileSnapshot>(context), ElementsAre(snapshot(owner), ownerlessSnapshot()));
      EXPECT_THAT(all<CompressionLog>(context), ElementsAre(log(), failedLog()));
      if (name == latest) {
        EXPECT_THAT(all<IncompressibleFile>(context), ElementsAre(incompressible()));
      } else {
        EXPECT_THAT(all<IncompressibleFile>(context), IsEmpty());
      }
    }
  }
}

TEST_F(StoreOpening, WhatIsNoSoundStoreOfOursIsRefusedAndLeftAsItIs) {
  const auto overwritten = [&](const char* name, std::size_t offset) {
    keep(name);
    auto bytes = scratch.read("store.sqlite");
    for (std::size_t i = 0; i < 300; ++i) bytes.at(offset + i) = '\xA5';
    scratch.write("store.sqlite", bytes);
  };
  const auto changed = [&](const char* name, const std::string& sql) {
    keep(name);
    execute(store(), sql);
  };
  struct Case {
    std::string name;
    std::function<void()> make;
    std::string refusal;
  };
  const std::vector<Case> cases{
      {"text", [&] { scratch.write("store.sqlite", ScratchFolder::prose(20'000)); }, "damaged"},
      {"zeros", [&] { scratch.write("store.sqlite", std::string(20'000, '\0')); }, "damaged"},
      {"cut short",
       [&] {
         keep(latest);
         truncate(store().c_str(), 20'000);
       },
       "damaged"},
      {"a page overwritten", [&] { overwritten(latest, 8'192); }, "damaged"},
      {"a page overwritten before migration", [&] { overwritten(earliest, 8'192); }, "damaged"},
      {"a table gone", [&] { changed(latest, "DROP TABLE IncompressibleFile"); }, "damaged"},
      {"a column gone", [&] { changed(earliest, "ALTER TABLE CompressionLog DROP COLUMN success"); }, "damaged"},
      {"a version that never was", [&] { changed(latest, "PRAGMA user_version = 10500"); }, "damaged"},
      {"newer", [&] { changed(latest, "PRAGMA user_version = 20001"); }, "newerVersion"},
      {"much newer", [&] { changed(latest, "PRAGMA user_version = 30000; DROP TABLE FileSnapshot"); }, "newerVersion"},
      {"another program's", [&] { changed(latest, "PRAGMA application_id = 5"); }, "foreign"},
      {"a folder", [&] { scratch.makeFolder("store.sqlite"); }, "cannotOpen"},
  };
  for (const auto& [name, make, expected] : cases) {
    SCOPED_TRACE(name);
    std::filesystem::remove_all(store().bytes());
    make();
    const auto before = files();
    EXPECT_THAT(refusal(), StartsWith(expected + "("));
    EXPECT_EQ(files(), before);
  }
}

// A newer program was killed: what it committed still stands in its log alone.
TEST_F(StoreOpening, ANewerStoresLogIsLeftAsItIs) {
  {
    makeStoreContainer(store()).value();
    const auto newer = Database::open(store()).value();
    newer->execute(StoreAction::save, "PRAGMA user_version = 30000").value();
    for (const char* name : {"store.sqlite", "store.sqlite-wal"}) {
      std::filesystem::copy_file(scratch.at(name), scratch.at("killed-" + std::string(name)));
    }
  }
  for (const char* name : {"store.sqlite", "store.sqlite-wal"}) {
    std::filesystem::rename(scratch.at("killed-" + std::string(name)), scratch.at(name));
  }
  const auto before = files();
  EXPECT_THAT(refusal(), StartsWith("newerVersion("));
  EXPECT_EQ(files(), before);
}

TEST_F(StoreOpening, WhatMayNotBeWrittenIsNotReadEither) {
  ASSERT_EQ(chmod(scratch.folder().c_str(), 0777), 0);
  // Before becoming somebody who may not read the sources.
  keep(latest);
  ASSERT_EQ(chmod(store().c_str(), 0644), 0);
  const OrdinaryUser user;
  if (!user.isOrdinary()) GTEST_SKIP() << "cannot act as a user whom permissions bind";
  struct Case {
    mode_t store;
    mode_t folder;
    std::string refusal;
  };
  const std::vector<Case> cases{
      {0400, 0700, "readOnly"},
      {0600, 0500, "readOnly"},
      {0000, 0700, "cannotOpen"},
  };
  scratch.makeFolder("folder");
  const auto kept = scratch.path("folder/store.sqlite");
  std::filesystem::copy_file(store().bytes(), kept.bytes());
  for (const auto& [ofStore, ofFolder, expected] : cases) {
    SCOPED_TRACE(ofStore);
    ASSERT_EQ(chmod(kept.c_str(), ofStore), 0);
    ASSERT_EQ(chmod(kept.parent().c_str(), ofFolder), 0);
    const auto opened = makeStoreContainer(kept);
    ASSERT_FALSE(opened);
    EXPECT_THAT(describe(opened.error()), StartsWith(expected + "("));
    ASSERT_EQ(chmod(kept.parent().c_str(), 0700), 0);
  }
  ASSERT_EQ(chmod(kept.c_str(), 0600), 0);
  EXPECT_EQ(scratch.read("folder/store.sqlite"), scratch.read("store.sqlite"));
}

}  // namespace
}  // namespace quillbrook::test
