// SPDX-License-Identifier: MIT
#include "Models/SecurityScopedBookmark.h"
#include "Registration/RegistrationService.h"
#include "Support/ScratchFolder.h"

namespace quillbrook {
namespace {

class RegistrationServiceTest : public testing::Test {
 protected:
  // The decision in a word, or the error.
  std::string add(const FilePath& url, ItemKind kind = ItemKind::folder) {
    const auto decision = RegistrationService::registerItem(url, kind, true, context_, now_);
    if (!decision) return describe(decision.error());
    return std::array{"registered", "duplicate", "child"}.at(decision->index());
  }
  [[nodiscard]] std::vector<Row<RegisteredItem>> rows() {
    StoreContext other(container_);
    return other.fetch<RegisteredItem>().value();
  }

  const ScratchFolder tree_;
  StoreContainer container_ = makeStoreContainer(tree_.path("store.sqlite")).value();
  StoreContext context_{container_};
  const StoreDate now_{std::chrono::microseconds(1'234'567)};
};

TEST_F(RegistrationServiceTest, KeepsAPlaceOnceUntilItsBookmarkIsDead) {
  tree_.write("folder/sub/\xff", "x");
  EXPECT_EQ(add(tree_.path("folder/")), "registered");
  EXPECT_EQ(add(tree_.path("folder/../folder")), "duplicate");
  EXPECT_EQ(add(tree_.path("folder/sub/\xff"), ItemKind::file), "child");
  EXPECT_THAT(add(tree_.path("missing")), testing::StartsWith("creationFailed"));
  EXPECT_EQ(add(tree_.folder()), "registered") << "what holds registered places may be registered";
  const auto kept = rows();
  ASSERT_EQ(kept.size(), 2U);
  const RegisteredItem& item = kept.front().record;
  EXPECT_EQ(item.kind, "folder");
  EXPECT_EQ(item.displayName, FilePath("folder"));
  EXPECT_EQ(item.registeredAt, now_);
  EXPECT_EQ(item.notes, std::nullopt);
  EXPECT_TRUE(item.includeSubfolders);
  EXPECT_EQ(SecurityScopedBookmark::resolve(item.bookmark)->url, tree_.path("folder"));
}

TEST_F(RegistrationServiceTest, WhatLeadsNowhereAndWhatNobodyKnowsStandInNobodysWay) {
  tree_.makeFolder("gone");
  tree_.makeFolder("odd");
  EXPECT_EQ(add(tree_.path("gone")), "registered");
  std::filesystem::remove(tree_.at("gone"));
  tree_.write("gone/again", "x");
  const auto odd = SecurityScopedBookmark::create(tree_.path("odd"));
  context_.insert(RegisteredItem{.id = UUID::random(),
                                 .bookmark = odd.value(),
                                 .kind = "volume",
                                 .registeredAt = now_,
                                 .displayName = FilePath("odd"),
                                 .notes = std::nullopt});
  ASSERT_TRUE(context_.save());
  EXPECT_EQ(add(tree_.path("odd")), "registered");
  EXPECT_EQ(add(tree_.path("gone")), "duplicate") << "a folder of that name stands there again";
  std::filesystem::remove_all(tree_.at("gone"));
  EXPECT_THAT(add(tree_.path("gone")), testing::StartsWith("creationFailed"));
  EXPECT_EQ(rows().size(), 3U);
}

}  // namespace
}  // namespace quillbrook
