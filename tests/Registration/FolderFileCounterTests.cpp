// SPDX-License-Identifier: MIT

#include "Registration/FolderFileCounter.h"
#include "Registration/PackageDetector.h"
#include "Registration/PackageTraversalPolicy.h"
#include "Support/ScratchFolder.h"

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

class FolderFileCounterTest : public testing::Test {
 protected:
  // The count, or the failure without its payload.
  std::string count(const char* root, bool includeSubfolders = true,
                    const OpenEnumerator& open = DirectoryEnumerator::open) {
    const auto count = FolderFileCounter::count(tree_.path(root), includeSubfolders, stop_.get_token(), open);
    return count ? std::to_string(*count) : std::string(caseName(count.error()));
  }
  const ScratchFolder tree_;
  std::stop_source stop_;
};

TEST_F(FolderFileCounterTest, CountsRegularFilesOutsideOfPackages) {
  for (const char* name :
       {"all/Bar.xcarchive/App.app/binary", "all/Foo.app/Info", "all/Foo.app/In.xcarchive/x", "all/.hidden",
        "all/a.slimtmp", "all/b.app", "all/\xFF", "all/sub/.deep", "all/sub/c.slimtmp/x"}) {
    tree_.write(name, "x");
  }
  std::filesystem::create_symlink("b.app", tree_.at("all/link"));
  std::filesystem::create_directory_symlink("sub", tree_.at("all/link.app"));
  tree_.makeFolder("empty");
  EXPECT_EQ(count("all", false), "3");
  EXPECT_EQ(count("all"), "6");
  EXPECT_EQ(count("all/Bar.xcarchive"), "1");
  EXPECT_EQ(count("empty"), "0");
}

TEST_F(FolderFileCounterTest, TellsWhyItDoesNotCount) {
  tree_.write("file", "x");
  std::filesystem::create_symlink("missing", tree_.at("dangling"));
  EXPECT_EQ(count("missing"), "notFound");
  EXPECT_EQ(count("dangling"), "notFound");
  EXPECT_EQ(count("file"), "notADirectory");
  const auto stopThenOpen = [&](const FilePath& root, DirectoryEnumerator::Depth depth) {
    stop_.request_stop();
    return DirectoryEnumerator::open(root, depth);
  };
  EXPECT_EQ(count("", true, stopThenOpen), "cancelled") << "in the middle";
  EXPECT_EQ(count("missing"), "cancelled") << "before it began";
}

}  // namespace
}  // namespace quillbrook
