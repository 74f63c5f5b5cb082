// SPDX-License-Identifier: MIT

#include "StoreFixture.h"

namespace quillbrook::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class StoreContextTest : public StoreFixture {};

TEST_F(StoreContextTest, GivesBackEveryRecordAsItWas) {
  StoreContext writer(container);
  const auto owner = writer.insert(item());
  writer.insert(itemWithNotes());
  writer.insert(snapshot(owner));
  writer.insert(ownerlessSnapshot());
  writer.insert(incompressible());
  writer.insert(log());
  writer.insert(failedLog());
  ASSERT_TRUE(writer.save());
  StoreContext reader(container);
  EXPECT_THAT(all<RegisteredItem>(reader), ElementsAre(item(), itemWithNotes()));
  const auto first = reader.fetch<RegisteredItem>().value().front().handle;
  EXPECT_THAT(all<FileSnapshot>(reader), ElementsAre(snapshot(first), ownerlessSnapshot()));
  EXPECT_THAT(all<IncompressibleFile>(reader), ElementsAre(incompressible()));
  EXPECT_THAT(all<CompressionLog>(reader), ElementsAre(log(), failedLog()));
}

TEST_F(StoreContextTest, ShowsWhatIsNotSavedToItselfAlone) {
  StoreContext context(container);
  const auto first = context.insert(log(1));
  ASSERT_TRUE(context.hasChanges() && context.save() && !context.hasChanges());
  const auto second = context.insert(log(2));
  context.insert(log(3));
  context.erase(first);
  context.erase(second);
  EXPECT_THAT(all<CompressionLog>(context), ElementsAre(log(3)));
  EXPECT_THAT(saved<CompressionLog>(container), ElementsAre(log(1)));
  ASSERT_TRUE(context.save());
  EXPECT_THAT(saved<CompressionLog>(container), ElementsAre(log(3)));
  {
    StoreContext(container).insert(log(4));
  }
  EXPECT_THAT(all<CompressionLog>(context), ElementsAre(log(3))) << "nothing saves itself";
}

TEST_F(StoreContextTest, FetchesWhatIsAskedForInTheOrderThatIsAskedFor) {
  StoreContext context(container);
  const auto insert = [&](std::int64_t name, std::int64_t time) {
    auto record = log(time);
    record.durationMs = name;
    context.insert(record);
  };
  for (const int name : {0, 1, 2, 3}) insert(name, name == 2 ? 9 : 5);
  ASSERT_TRUE(context.save());
  insert(4, 7);
  const auto fetched = [&](const FetchRequest<CompressionLog>& request) {
    std::vector<std::int64_t> names;
    for (const auto& record : all(context, request)) names.push_back(record.durationMs);
    return names;
  };
  const auto isOld = [](const CompressionLog& record) { return record.executedAt < date(9); };
  EXPECT_THAT(fetched({}), ElementsAre(0, 1, 2, 3, 4));
  EXPECT_THAT(fetched({.where = {}, .before = descending(&CompressionLog::executedAt)}), ElementsAre(2, 4, 0, 1, 3));
  EXPECT_THAT(fetched({.where = isOld, .before = descending(&CompressionLog::executedAt)}), ElementsAre(4, 0, 1, 3));
}

// What insert named stays so named after the save: for erasing, as an owner, and in what is fetched.
TEST_F(StoreContextTest, AHandleOutlivesTheSave) {
  StoreContext context(container);
  context.insert(itemWithNotes());
  const auto owner = context.insert(item());
  const auto before = context.insert(snapshot(owner));
  ASSERT_TRUE(context.save());
  const auto after = context.insert(snapshot(owner));
  ASSERT_TRUE(context.save());
  EXPECT_EQ(context.fetch<RegisteredItem>().value().back().handle, owner);
  const auto snapshots = context.snapshots(owner).value();
  ASSERT_THAT(snapshots, SizeIs(2));
  EXPECT_EQ(std::pair(snapshots[0].handle, snapshots[1].handle), std::pair(before, after));
  context.erase(before);
  EXPECT_THAT(context.snapshots(owner).value(), SizeIs(1));
  ASSERT_TRUE(context.save());
  EXPECT_THAT(saved<FileSnapshot>(container), SizeIs(1));
}

TEST_F(StoreContextTest, AnItemTakesItsSnapshotsAlongAndNothingElse) {
  for (const bool isSavedFirst : {true, false}) {
    StoreContext context(container);
    const auto owner = context.insert(item());
    const auto other = context.insert(itemWithNotes());
    context.insert(snapshot(owner));
    context.insert(snapshot(other));
    context.insert(ownerlessSnapshot());
    context.insert(log());
    context.insert(incompressible());
    if (isSavedFirst) {
      ASSERT_TRUE(context.save());
      context.insert(snapshot(owner));
    }
    context.erase(owner);
    EXPECT_THAT(all<FileSnapshot>(context), ElementsAre(snapshot(other), ownerlessSnapshot()));
    ASSERT_TRUE(context.save());
    EXPECT_THAT(all<FileSnapshot>(context), ElementsAre(snapshot(other), ownerlessSnapshot()));
    EXPECT_THAT(saved<RegisteredItem>(container), ElementsAre(itemWithNotes()));
    EXPECT_THAT(saved<CompressionLog>(container), ElementsAre(log()));
    EXPECT_THAT(saved<IncompressibleFile>(container), ElementsAre(incompressible()));
    execute(store(), "DELETE FROM FileSnapshot; DELETE FROM RegisteredItem; DELETE FROM CompressionLog");
  }
}

TEST_F(StoreContextTest, WhatOthersHaveRemovedStandsInNobodysWay) {
  StoreContext context(container);
  const auto owner = context.insert(item());
  ASSERT_TRUE(context.save());
  execute(store(),
          "DELETE FROM RegisteredItem; INSERT INTO RegisteredItem SELECT NULL, zeroblob(16), x'', '', 0, 0, x'', ''");
  context.insert(snapshot(owner));
  context.insert(log());
  ASSERT_TRUE(context.save());
  context.erase(owner);
  ASSERT_TRUE(context.save());
  EXPECT_THAT(saved<FileSnapshot>(container), IsEmpty());
  EXPECT_THAT(saved<CompressionLog>(container), SizeIs(1));
  EXPECT_THAT(saved<RegisteredItem>(container), SizeIs(1)) << "the new row is not the one that was erased";
}

TEST_F(StoreContextTest, OnePathIsOneIncompressibleFile) {
  using Step = std::function<void(StoreContext&)>;
  const Step insertFirst = [](StoreContext& context) { context.insert(incompressible("/p", 1)); };
  const Step insertSecond = [](StoreContext& context) { context.insert(incompressible("/p", 2)); };
  const Step save = [](StoreContext& context) { ASSERT_TRUE(context.save()); };
  const auto isOfPath = [](const IncompressibleFile& record) { return record.targetPath == FilePath("/p"); };
  const Step erase = [&](StoreContext& context) {
    const auto rows = context.fetch<IncompressibleFile>({.where = isOfPath, .before = {}}).value();
    for (const auto& row : rows) context.erase(row.handle);
  };
  const std::vector<std::vector<Step>> cases{{insertFirst, insertSecond},
                                             {insertFirst, save, insertSecond},
                                             {insertFirst, save, erase, insertSecond},
                                             {insertFirst, save, insertSecond, save, erase, insertSecond}};
  for (const auto& steps : cases) {
    SCOPED_TRACE(&steps - cases.data());
    StoreContext context(container);
    context.insert(incompressible("/other"));
    for (const auto& step : steps) step(context);
    const auto expected = testing::UnorderedElementsAre(incompressible("/other"), incompressible("/p", 2));
    EXPECT_THAT(all<IncompressibleFile>(context), expected);
    ASSERT_TRUE(context.save());
    EXPECT_THAT(all<IncompressibleFile>(context), expected);
    EXPECT_THAT(saved<IncompressibleFile>(container), expected);
    execute(store(), "DELETE FROM IncompressibleFile");
  }
}

TEST(UUIDs, AreOfVersion4AndDiffer) {
  std::set<UUID> found;
  for (int i = 0; i < 100; ++i) {
    EXPECT_THAT(UUID::random().text(),
                testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
    found.insert(UUID::random());
  }
  EXPECT_THAT(found, SizeIs(100));
  EXPECT_EQ(uuid(0xF8).text(), "F8F9FAFB-FCFD-FEFF-0001-020304050607");
}

}  // namespace
}  // namespace quillbrook::test
