// SPDX-License-Identifier: MIT
#include "CommandLineFixture.h"

namespace quillbrook {
namespace {

using testing::HasSubstr;

using SearchTest = CommandLineTest;

TEST_F(SearchTest, SearchesAndCounts) {
  tree.write("d/old.txt", ScratchFolder::prose(2'000'000));
  tree.write("d/sub/deep.c", ScratchFolder::prose(1'500'000));
  tree.write("d/.hidden.txt", ScratchFolder::prose(1'500'000));
  tree.write("d/App.app/in.txt", ScratchFolder::prose(1'500'000));
  const auto names = [this] {
    Strings found;
    for (const Json& line : objects()) {
      if (line["type"] == "candidate") found.push_back(line["path"].get<std::string>().substr(at("d").size()));
    }
    return found;
  };
  EXPECT_EQ(run({"search", at("d"), "--json"}), 0);
  EXPECT_EQ(names(), Strings()) << "10 MB are the least unless told";
  EXPECT_EQ(objects().back(), Json({{"type", "summary"}, {"operation", "search"}, {"scanned", 4}, {"matched", 0}}));
  EXPECT_EQ(run({"search", at("d"), "--json", "--min-size", "1.5"}), 0);
  EXPECT_EQ(names(), (Strings{"/old.txt", "/sub/deep.c"}));
  EXPECT_EQ(objects()[1]["rating"], "excellent");
  EXPECT_EQ(run({"search", at("d"), "--json", "--min-size", "", "--hidden", "--extensions", "text"}), 0);
  EXPECT_EQ(names(), (Strings{"/.hidden.txt", "/old.txt"}));
  EXPECT_EQ(run({"search", at("d"), "--json", "--min-size=1", "--older-than", "1year"}), 0);
  EXPECT_EQ(names(), Strings()) << "a year before the day of this test nothing was there";
  EXPECT_EQ(run({"compress", at("d/old.txt")}), 0);
  EXPECT_EQ(run({"search", at("d"), "--json", "--min-size=1", "--no-subfolders"}), 0);
  EXPECT_EQ(names(), Strings());
  EXPECT_EQ(run({"search", at("d"), "--json", "--min-size=1", "--no-subfolders", "--compressed"}), 0);
  EXPECT_EQ(names(), Strings{"/old.txt"});
  EXPECT_EQ(run({"search", at("d/old.txt")}), 1);
  EXPECT_EQ(run({"search", at("gone")}), 1);
  EXPECT_THAT(err.str(), HasSubstr("nothing is there"));

  EXPECT_EQ(run({"count", at("d")}), 0);
  EXPECT_EQ(out.str(), "3\n") << "hidden ones count, a package's inside does not";
  EXPECT_EQ(run({"count", at("d"), "--no-subfolders", "--json"}), 0);
  EXPECT_EQ(objects().front()["files"], 2);
  EXPECT_EQ(run({"count", at("d/old.txt")}), 1);
}

}  // namespace
}  // namespace quillbrook
