// SPDX-License-Identifier: MIT

#include "Registration/FolderFileCounter.h"
#include "Registration/PackageDetector.h"
#include "Registration/PackageTraversalPolicy.h"
#include "Support/Prelude.h"
#include "Support/ScriptedTree.h"

namespace quillbrook {
namespace {

TEST(PackageDetector, TellsPackagesByTheFolderName) {
  for (const auto& [path, kind, expected] : std::vector<std::tuple<std::string, FileKind, bool>>{
           {"/Applications/Foo.app", FileKind::directory, true},
           {"/x/Foo.APP", FileKind::directory, true},
           {"/x/Foo.xcarchive", FileKind::directory, true},
           {"/x/Foo.app", FileKind::regular, false},
           {"/x/Foo.app", FileKind::symbolicLink, false},
           {"/x/.app", FileKind::directory, false},
           {"/x/Foo.app/Contents", FileKind::directory, false},
           {"/x/Foo.framework", FileKind::directory, false},
           {"/x/Foo", FileKind::directory, false},
       }) {
    EXPECT_EQ(PackageDetector::isPackage(FilePath(path), kind), expected) << path;
  }
}

TEST(PackageTraversalPolicy, EntersArchivesToTheBottom) {
  for (const auto& [path, isInside] : std::vector<std::pair<std::string, bool>>{
           {"", false},
           {"/", false},
           {"/x/Foo.app", false},
           {"/x/Foo.xcarchive", true},
           {"/x/Foo.XCARCHIVE", true},
           {"/x/Foo.xcarchive/Products/App.app/Contents", true},
           {"Foo.xcarchive/App.app", true},
           {"/x/xcarchive/App.app", false},
           {"/x/.xcarchive/App.app", false},
           {"/x/Foo.xcarchive.zip/App.app", false},
       }) {
    EXPECT_EQ(PackageTraversalPolicy::isInsideTraversablePackage(FilePath(path)), isInside) << path;
    EXPECT_EQ(PackageTraversalPolicy::shouldSkipDescendants(FilePath(path), true), !isInside) << path;
    EXPECT_FALSE(PackageTraversalPolicy::shouldSkipDescendants(FilePath(path), false)) << path;
  }
}

// The count, or the failure.
std::string count(const ScriptedTree& tree, bool includeSubfolders, const std::stop_token& stop = {},
                  const char* root = "/root") {
  const auto count = FolderFileCounter::count(FilePath(root), includeSubfolders, stop, tree.opener());
  return count ? std::to_string(*count) : describe(count.error());
}

TEST(FolderFileCounter, CountsRegularFilesOutsideOfPackages) {
  ScriptedTree tree;
  EXPECT_EQ(count(tree, true), "0");
  tree.folder("Bar.xcarchive").folder("Bar.xcarchive/App.app").file("Bar.xcarchive/App.app/binary");
  tree.folder("Foo.app").file("Foo.app/Info").folder("Foo.app/In.xcarchive").file("Foo.app/In.xcarchive/x");
  tree.file(".hidden").file("a.slimtmp").file("b.app").link("link").link("link.app").vanishingFile("gone");
  tree.folder("sub").file("sub/.deep").folder("sub/c.slimtmp").file("sub/c.slimtmp/x");
  EXPECT_EQ(count(tree, false), "3");
  EXPECT_EQ(count(tree, true), "6");
}

TEST(FolderFileCounter, TellsWhyItDoesNotCount) {
  ScriptedTree tree;
  tree.file("a").file("b");
  tree.failure = ErrorNumber::noEntry;
  EXPECT_EQ(count(tree, true), "notFound(/root)");
  tree.failure = ErrorNumber{ENOTDIR};
  EXPECT_EQ(count(tree, true), "notADirectory(/root)");
  tree.failure.reset();
  std::stop_source stop;
  stop.request_stop();
  EXPECT_EQ(count(tree, true, stop.get_token()), "cancelled");
}

TEST(FolderFileCounter, TellsTheUser) {
  EXPECT_EQ(userText(FolderNotFound{FilePath("/a")}), "フォルダが見つかりません: /a");
  EXPECT_EQ(userText(NotADirectory{FilePath("/a")}), "フォルダではないか、開くことができません: /a");
}

}  // namespace
}  // namespace quillbrook
