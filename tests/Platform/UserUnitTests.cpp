// SPDX-License-Identifier: MIT
#include "Platform/Linux/InstalledProgram.h"
#include "Platform/Linux/UserUnit.h"
#include "Support/ScratchFolder.h"

namespace quillbrook {
namespace {

TEST(UserUnitTests, AProgramsPathStandsInAUnitAsItIs) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"/usr/bin/quillbrook", R"("/usr/bin/quillbrook")"},
      {"/with blank/100%/x", R"("/with blank/100%%/x")"},
      {R"(/a"b\c'd$e)", R"("/a\"b\\c'd$e")"},
  };
  for (const auto& [program, text] : cases) EXPECT_EQ(UserUnit::quoted(FilePath(program)), text);
  EXPECT_EQ(UserUnit::filled("{P} {P}", "{P}", "/{P}"), "/{P} /{P}");
}

TEST(UserUnitTests, FindsAProgramButNoFolderOfItsNameAndNothingByARelativePath) {
  const ScratchFolder folder;
  folder.makeFolder("first/odd program");
  folder.write("relative/odd program", "");
  folder.write("with blank/odd program", "");
  folder.write("unusable/odd program", "");
  for (const char* name : {"relative/odd program", "with blank/odd program"}) {
    std::filesystem::permissions(folder.at(name), std::filesystem::perms::owner_all);
  }
  const char* path = ::getenv("PATH");
  const std::string before(path == nullptr ? "" : path);
  const std::string relative = std::filesystem::relative(folder.at("relative")).native();
  ::setenv("PATH", (relative + "::" + folder.at("first") + ":" + folder.at("unusable")).c_str(), 1);
  const auto missing = InstalledProgram::find("odd program");
  ::setenv("PATH", (folder.at("first") + ":" + folder.at("with blank")).c_str(), 1);
  const auto found = InstalledProgram::find("odd program");
  ::setenv("PATH", before.c_str(), 1);

  EXPECT_EQ(found, folder.path("with blank/odd program"));
  ASSERT_FALSE(missing.has_value());
  EXPECT_THAT(missing.error(),
              testing::ElementsAre(InstalledProgram::ownFolder(), folder.path("first"), folder.path("unusable")));
}

}  // namespace
}  // namespace quillbrook
