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

TEST_F(LiveQueryTest, MayEndInItsObserverAndTakeOthersAlong) {
  std::optional<LiveQuery<CompressionLog>> first;
  std::optional<LiveQuery<CompressionLog>> second;
  const auto endBoth = [&] {
    ++told;
    first.reset();
    second.reset();
  };
  first.emplace(context, newestFirst, endBoth);
  second.emplace(context, newestFirst, endBoth);
  context.insert(log());
  ASSERT_TRUE(context.save());
  EXPECT_EQ(told, 1);
}

TEST_F(LiveQueryTest, KeepsItsRowsWhileTheStoreCannotBeRead) {
  const LiveQuery<CompressionLog> query(context, newestFirst, [&] { ++told; });
  context.insert(log(1));
  ASSERT_TRUE(context.save());
  execute(store(), "ALTER TABLE CompressionLog RENAME TO Away");
  context.look();
  EXPECT_EQ(told, 2);
  EXPECT_TRUE(query.failure());
  EXPECT_THAT(records(query.rows()), ElementsAre(log(1)));
  execute(store(), "ALTER TABLE Away RENAME TO CompressionLog");
  context.look();
  EXPECT_EQ(told, 3);
  EXPECT_FALSE(query.failure());
}

}  // namespace
}  // namespace quillbrook::test
