// SPDX-License-Identifier: MIT

#include "Registration/CanonicalPath.h"
#include "Registration/ItemKind.h"
#include "Registration/NameCase.h"
#include "Registration/RegistrationCoordinator.h"
#include "Support/Prelude.h"

namespace quillbrook {
namespace {

TEST(CanonicalPath, IsOneForEveryWayToWriteAPlace) {
  for (const auto& [path, canonical] : std::vector<std::pair<std::string, std::string>>{
           {"/", "/"},
           {"//", "/"},
           {"/..", "/"},
           {"/a/b", "/a/b"},
           {"/a/b/", "/a/b"},
           {"//a///b//", "/a/b"},
           {"/a/./b/../c/.", "/a/c"},
           {"/a/b/../", "/a"},
           {"/a/\xFF\x80/", "/a/\xFF\x80"},
           {"/A%20b/", "/A%20b"},
       }) {
    EXPECT_EQ(canonicalPath(FilePath(path)).bytes(), canonical) << path;
  }
}

TEST(RegistrationCoordinator, DecidesByTheFirstThatStandsInTheWay) {
  const auto file = [](const char* path) { return ExistingRegistration{FilePath(path), ItemKind::file}; };
  const auto folder = [](const char* path) { return ExistingRegistration{FilePath(path), ItemKind::folder}; };
  const auto duplicate = [](const char* path) { return RegistrationDecision(SkipDuplicate{FilePath(path)}); };
  const auto child = [](const char* path) { return RegistrationDecision(SkipChildOfRegistered{FilePath(path)}); };
  const auto registers = [](const char* path) {
    return RegistrationDecision(WillRegister{FilePath(path), ItemKind::folder, true});
  };
  struct Case {
    std::string target;
    std::vector<ExistingRegistration> existing;
    RegistrationDecision expected;
  };
  const std::vector<Case> cases{
      {"/a/b", {}, registers("/a/b")},
      {"/a/x/../b/", {}, registers("/a/b")},
      {"/a/b/", {folder("/a/b")}, duplicate("/a/b")},
      {"/a/b", {file("/a/./b/")}, duplicate("/a/b")},
      {"/a/bc", {folder("/a/b")}, registers("/a/bc")},
      {"/a/b/c", {file("/a/b")}, registers("/a/b/c")},
      {"/a/b/c", {folder("/a/b/")}, child("/a/b")},
      {"/a/b/c/d", {folder("/a/b")}, child("/a/b")},
      {"/A/b", {folder("/a")}, registers("/A/b")},
      {"/a", {folder("/a/b"), file("/a/c")}, registers("/a")},
      {"/", {folder("/a")}, registers("/")},
      {"/a", {folder("/")}, registers("/a")},
      {"/", {folder("/")}, duplicate("/")},
      {"/a/b/c", {folder("/a/b"), folder("/a"), file("/a/b/c")}, child("/a/b")},
      {"/a/b/c", {file("/x"), file("/a/b/c"), folder("/a")}, duplicate("/a/b/c")},
  };
  for (const auto& [target, existing, expected] : cases) {
    EXPECT_EQ(RegistrationCoordinator::decide(FilePath(target), ItemKind::folder, true, existing), expected) << target;
  }
  EXPECT_EQ(RegistrationCoordinator::decide(FilePath("/a"), ItemKind::file, false, {}),
            RegistrationDecision(WillRegister{FilePath("/a"), ItemKind::file, false}));
}

TEST(ItemKind, IsReadBackFromTheWordThatIsStored) {
  EXPECT_EQ(itemKindOf("file"), ItemKind::file);
  EXPECT_EQ(itemKindOf("folder"), ItemKind::folder);
  for (const ItemKind kind : {ItemKind::file, ItemKind::folder}) EXPECT_EQ(itemKindOf(rawValue(kind)), kind);
  for (const char* other : {"", "Folder", "package"}) EXPECT_EQ(itemKindOf(other), std::nullopt) << other;
}

TEST(NameCase, LowersTextAndKeepsOtherBytes) {
  for (const auto& [name, lowercased] : std::vector<std::pair<std::string, std::string>>{
           {"JPG", "jpg"},
           {"@[`{Az09", "@[`{az09"},
           {"ÄÖÜ", "äöü"},
           {"İI", "i̇i"},
           {"ＪＰＧ", "ｊｐｇ"},
           {"A\xC4\xFF", "a\xC4\xFF"},
           {"\xC3\x84Z\x80", "\xC3\x84z\x80"},
       }) {
    EXPECT_EQ(NameCase::lowercased(name), lowercased) << name;
  }
}

}  // namespace
}  // namespace quillbrook
