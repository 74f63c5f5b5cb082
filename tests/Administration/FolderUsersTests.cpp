// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <functional>

#include "SourceTree.h"
#include "Volume/Administration/FolderUsers.h"

namespace quillbrook {
namespace {

// A process that has done something and waits. Ended with the object.
class WaitingChild {
 public:
  explicit WaitingChild(const std::function<bool()>& action) {
    std::array<int, 2> ready{};
    if (::pipe(ready.data()) != 0) return;
    process_ = ::fork();
    if (process_ == 0) {
      const char answer = action() ? '+' : '-';
      if (::write(ready[1], &answer, 1) != 1) ::_exit(1);
      for (;;) ::pause();
    }
    ::close(ready[1]);
    char answer = 0;
    isReady_ = ::read(ready[0], &answer, 1) == 1 && answer == '+';
    ::close(ready[0]);
  }
  ~WaitingChild() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }
  WaitingChild(const WaitingChild&) = delete;
  WaitingChild& operator=(const WaitingChild&) = delete;

  [[nodiscard]] bool isReady() const { return isReady_; }
  [[nodiscard]] pid_t process() const { return process_; }

 private:
  pid_t process_ = -1;
  bool isReady_ = false;
};

TEST(FolderUsersTests, TellsWhoIsThereAndWhoWrites) {
  const SourceTree tree;
  tree.makeFolder("v/inner");
  tree.makeFolder("vicinity");
  tree.write("v/file", "text");
  tree.write("vicinity/file", "text");
  const std::string file = tree.path("v/file").bytes();
  const std::string beside = tree.path("vicinity/file").bytes();
  const auto map = [&](int flags, int protection, int kind) {
    const int descriptor = ::open(file.c_str(), flags);
    const bool isMapped = ::mmap(nullptr, 4, protection, kind, descriptor, 0) != MAP_FAILED;
    ::close(descriptor);
    return isMapped;
  };
  struct Case {
    const char* what;
    std::function<bool()> action;
    bool isUser;
    bool stands;
    bool opens;
    bool writes;
  };
  const std::array cases{
      Case{"stands in it", [&] { return ::chdir(tree.path("v/inner").c_str()) == 0; }, true, true, false, false},
      Case{"reads", [&] { return ::open(file.c_str(), O_RDONLY) >= 0; }, true, false, true, false},
      Case{"writes", [&] { return ::open(file.c_str(), O_WRONLY) >= 0; }, true, false, true, true},
      Case{"appends", [&] { return ::open(file.c_str(), O_RDWR | O_APPEND) >= 0; }, true, false, true, true},
      Case{"maps", [&] { return map(O_RDONLY, PROT_READ, MAP_SHARED); }, true, false, true, false},
      Case{"maps a copy", [&] { return map(O_RDONLY, PROT_READ | PROT_WRITE, MAP_PRIVATE); }, true, false, true, false},
      Case{"maps for writing", [&] { return map(O_RDWR, PROT_READ | PROT_WRITE, MAP_SHARED); }, true, false, true,
           true},
      Case{"holds a place", [&] { return ::open(file.c_str(), O_PATH) >= 0; }, true, false, true, false},
      Case{"writes beside it", [&] { return ::open(beside.c_str(), O_WRONLY) >= 0; }, false, false, false, false},
  };
  for (const Case& c : cases) {
    const WaitingChild child(c.action);
    ASSERT_TRUE(child.isReady()) << c.what;
    const auto users = FolderUsers::find(tree.path("v"));
    ASSERT_TRUE(users.has_value()) << c.what;
    if (!c.isUser) {
      EXPECT_TRUE(users->empty()) << c.what;
      continue;
    }
    ASSERT_EQ(users->size(), 1U) << c.what;
    const FolderUser& user = users->front();
    EXPECT_EQ(user.process, child.process()) << c.what;
    EXPECT_EQ(user.standsThere, c.stands) << c.what;
    EXPECT_EQ(user.hasOpenFiles, c.opens) << c.what;
    EXPECT_EQ(user.writes, c.writes) << c.what;
    EXPECT_EQ(user.example, c.stands ? tree.path("v/inner") : tree.path("v/file")) << c.what;
    EXPECT_FALSE(user.command.empty());
  }
}

TEST(FolderUsersTests, DoesNotCountThisProcess) {
  const SourceTree tree;
  tree.write("file", "text");
  const int own = ::open(tree.path("file").c_str(), O_RDWR);
  EXPECT_EQ(FolderUsers::find(tree.folder()), std::vector<FolderUser>{});
  ::close(own);
}

}  // namespace
}  // namespace quillbrook
