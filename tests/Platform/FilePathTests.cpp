// SPDX-License-Identifier: MIT

#include "Platform/FilePath.h"
#include "Support/Prelude.h"

namespace quillbrook::test {
namespace {

TEST(FilePath, Parts) {
  const std::vector<std::tuple<FilePath, std::string, std::string, std::string>> cases{
      {FilePath("/a/b/c.txt"), "c.txt", "/a/b", "txt"},
      {FilePath("c"), "c", ".", ""},
      {FilePath("/c"), "c", "/", ""},
      {FilePath("/"), "/", "/", ""},
      {FilePath("a/b/"), "b", "a", ""},
      {FilePath("/x/.profile"), ".profile", "/x", ""},
      {FilePath("/x.y/a."), "a.", "/x.y", ""},
      {FilePath("a.tar.gz"), "a.tar.gz", ".", "gz"},
  };
  for (const auto& [path, name, parent, extension] : cases) {
    EXPECT_EQ(path.name(), name);
    EXPECT_EQ(path.parent().bytes(), parent);
    EXPECT_EQ(path.extension(), extension);
  }
  EXPECT_EQ(FilePath("/").appending("a").appending("b").appendingExtension("slimtmp").bytes(), "/a/b.slimtmp");
}

TEST(FilePath, ShowsWhatIsNotText) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"na\xC3\xAFve\n", "na\xC3\xAFve\n"},
      {"a\xFF", "a\xEF\xBF\xBD"},
      {"\xC3", "\xEF\xBF\xBD"},
      {"\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},  // a surrogate
      {"\xC0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD"},                  // longer than it need be
      {"\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
      {"\xF4\x90\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},  // above U+10FFFF
  };
  for (const auto& [bytes, shown] : cases) {
    EXPECT_EQ(FilePath(bytes).isUtf8(), bytes == shown) << shown;
    EXPECT_EQ(FilePath(bytes).displayText(), shown);
  }
}

}  // namespace
}  // namespace quillbrook::test
