// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "Platform/FilePath.h"

namespace quillbrook::test {
namespace {

TEST(FilePath, Parts) {
  const struct {
    const char* path;
    const char* name;
    const char* parent;
    const char* extension;
  } cases[] = {
      {"/a/b/c.txt", "c.txt", "/a/b", "txt"},
      {"c", "c", ".", ""},
      {"/c", "c", "/", ""},
      {"/", "/", "/", ""},
      {"a/b/", "b", "a", ""},
      {"/x/.profile", ".profile", "/x", ""},
      {"/x/a.", "a.", "/x", ""},
      {"/x.y/a", "a", "/x.y", ""},
      {"a.tar.gz", "a.tar.gz", ".", "gz"},
  };
  for (const auto& c : cases) {
    const FilePath path(c.path);
    EXPECT_EQ(path.name(), c.name) << c.path;
    EXPECT_EQ(path.parent().bytes(), c.parent) << c.path;
    EXPECT_EQ(path.extension(), c.extension) << c.path;
  }
  EXPECT_EQ(FilePath("/a").appending("b").bytes(), "/a/b");
  EXPECT_EQ(FilePath("/a/b").appendingExtension("slimtmp").bytes(), "/a/b.slimtmp");
}

TEST(FilePath, ShowsWhatIsNotText) {
  const struct {
    const char* bytes;
    bool isUtf8;
    const char* shown;
  } cases[] = {
      {"na\xC3\xAFve", true, "na\xC3\xAFve"},
      {"a\xFF", false, "a\xEF\xBF\xBD"},
      {"\xC3", false, "\xEF\xBF\xBD"},
      {"\xED\xA0\x80", false, "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},  // a surrogate
      {"\xC0\x80", false, "\xEF\xBF\xBD\xEF\xBF\xBD"},                  // longer than it need be
      {"a\nb", true, "a\nb"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(FilePath(c.bytes).isUtf8(), c.isUtf8) << c.shown;
    EXPECT_EQ(FilePath(c.bytes).displayText(), c.shown);
  }
}

}  // namespace
}  // namespace quillbrook::test
