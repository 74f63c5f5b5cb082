// SPDX-License-Identifier: MIT

#include "Platform/Linux/FileDescriptor.h"
#include "SourceTree.h"
#include "Support/ChildProcess.h"
#include "Volume/Administration/FolderUsers.h"

namespace quillbrook {
namespace {

TEST(FolderUsersTests, TellsWhoIsThereAndWhoWrites) {
  const SourceTree tree;
  tree.makeFolder("v/inner");
  tree.write("v/file", "text");
  tree.write("vicinity/file", "text");
  const std::string file = tree.at("v/file");
  const auto opens = [&](int flags) { return [&file, flags] { return ::open(file.c_str(), flags) >= 0; }; };
  const auto maps = [&](int flags, int protection, int kind) {
    return [=, &file] {
      const FileDescriptor descriptor(::open(file.c_str(), flags));
      return ::mmap(nullptr, 4, protection, kind, descriptor.get(), 0) != MAP_FAILED;
    };
  };
  enum class Use : std::uint8_t { none, stands, reads, writes };
  struct Case {
    const char* what;
    std::function<bool()> action;
    Use use;
  };
  const std::vector<Case> cases{
      {"stands in it", [&] { return ::chdir(tree.at("v/inner").c_str()) == 0; }, Use::stands},
      {"reads", opens(O_RDONLY), Use::reads},
      {"appends", opens(O_RDWR | O_APPEND), Use::writes},
      {"maps a copy", maps(O_RDONLY, PROT_READ | PROT_WRITE, MAP_PRIVATE), Use::reads},
      {"maps for writing", maps(O_RDWR, PROT_READ | PROT_WRITE, MAP_SHARED), Use::writes},
      {"holds a place", opens(O_PATH), Use::reads},
      {"writes beside it", [&] { return ::open(tree.at("vicinity/file").c_str(), O_WRONLY) >= 0; }, Use::none},
  };
  // This process does not count.
  const FileDescriptor own(::open(file.c_str(), O_RDWR));
  for (const auto& [what, action, use] : cases) {
    SCOPED_TRACE(what);
    const WaitingChild child([&] { return ::close(own.get()) == 0 && action(); });
    const auto users = FolderUsers::find(tree.path("v"));
    ASSERT_TRUE(users.has_value());
    ASSERT_EQ(users->size(), use == Use::none ? 0U : 1U);
    if (use == Use::none) continue;
    const FolderUser& user = users->front();
    EXPECT_EQ(user.process, child.process());
    EXPECT_EQ(user.standsThere, use == Use::stands);
    EXPECT_EQ(user.hasOpenFiles, use != Use::stands);
    EXPECT_EQ(user.writes, use == Use::writes);
    EXPECT_EQ(user.example, tree.path(use == Use::stands ? "v/inner" : "v/file"));
    EXPECT_FALSE(user.command.empty());
  }
}

}  // namespace
}  // namespace quillbrook
