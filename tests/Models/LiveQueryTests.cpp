// SPDX-License-Identifier: MIT

#include "Models/LiveQuery.h"
#include "StoreFixture.h"

namespace quillbrook::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class LiveQueryTest : public StoreFixture {
 protected:
  void saveElsewhere(const CompressionLog& record) const {
    StoreContext other(container);
    other.insert(record);
    ASSERT_TRUE(other.save());
  }

  const FetchRequest<CompressionLog> newestFirst{.where = {}, .before = descending(&CompressionLog::executedAt)};
  StoreContext context{container};
  int told = 0;
};

TEST_F(LiveQueryTest, IsToldOfWhatWasSavedWhenItIsOther) {
  const LiveQuery<CompressionLog> query(context, newestFirst, [&] { ++told; });
  EXPECT_THAT(query.rows(), IsEmpty());
  context.insert(log(1));
  EXPECT_EQ(told, 0) << "not saved";
  ASSERT_TRUE(context.save());
  EXPECT_EQ(told, 1);
  context.insert(item());
  ASSERT_TRUE(context.save());
  EXPECT_EQ(told, 1) << "another table's";
  saveElsewhere(log(2));
  EXPECT_EQ(told, 1) << "nobody has looked";
  context.look();
  EXPECT_EQ(told, 2);
  context.look();
  EXPECT_EQ(told, 2);
  EXPECT_THAT(records(query.rows()), ElementsAre(log(2), log(1)));
}

TEST_F(LiveQueryTest, MayEndInAnObserverAndTakeOthersAlong) {
  using Query = std::optional<LiveQuery<CompressionLog>>;
  Query first;
  Query last;
  first.emplace(context, newestFirst, [&] {
    ++told;
    first.reset();
    last.reset();
  });
  const LiveQuery<CompressionLog> between(context, newestFirst, [&] { ++told; });
  last.emplace(context, newestFirst, [&] { ADD_FAILURE() << "it has ended"; });
  context.insert(log());
  ASSERT_TRUE(context.save());
  EXPECT_EQ(told, 2);
}

TEST_F(LiveQueryTest, OutlivesATimeInWhichTheStoreCannotBeRead) {
  saveElsewhere(log(1));
  std::filesystem::rename(store().bytes(), scratch.at("away"));
  const LiveQuery<CompressionLog> query(context, newestFirst, [&] { ++told; });
  EXPECT_TRUE(query.failure());
  std::filesystem::rename(scratch.at("away"), store().bytes());
  context.look();
  EXPECT_EQ(told, 1);
  EXPECT_FALSE(query.failure());
  execute(store(), "ALTER TABLE CompressionLog RENAME TO Away");
  context.look();
  EXPECT_EQ(told, 2);
  EXPECT_TRUE(query.failure());
  EXPECT_THAT(records(query.rows()), ElementsAre(log(1))) << "as before";
}

}  // namespace
}  // namespace quillbrook::test
