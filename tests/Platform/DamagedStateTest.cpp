// SPDX-License-Identifier: MIT
#include "NativeFixture.h"
#include "Platform/Linux/BackingFile.h"
#include "Platform/Linux/StoredState.h"

namespace quillbrook::test {
namespace {

class DamagedState : public NativeFixture {};

TEST_F(DamagedState, IsNeverTakenForOrdinary) {
  auto& files = FileSystem::native();
  const auto text = prose(3000);
  const struct {
    const char* name;
    std::function<void(Bytes&)> damage;
  } cases[] = {
      {"one bit", [](Bytes& state) { state[20] ^= 1; }},       {"too short", [](Bytes& state) { state.pop_back(); }},
      {"empty", [](Bytes& state) { state.clear(); }},          {"too long", [](Bytes& state) { state.resize(300); }},
      {"a later version", [](Bytes& state) { state[2] = 2; }},
  };
  for (const auto& c : cases) {
    const auto file = compressed(c.name, text);
    const auto state = StoredState::readAt(file.c_str()).value()->encode();
    Bytes bytes(state.begin(), state.end());
    c.damage(bytes);
    ASSERT_EQ(setxattr(file.c_str(), "user.quillbrook.state", bytes.data(), bytes.size(), 0), 0);
    const auto rawSize = raw(file).size();
    EXPECT_EQ(status(file).st_flags, UF_COMPRESSED) << c.name;
    EXPECT_EQ(status(file).st_size, static_cast<std::int64_t>(rawSize)) << c.name;
    EXPECT_EQ(content(file).error(), ErrorNumber::inputOutput) << c.name;
    EXPECT_EQ(attribute(file, decmpfs, shown).error(), ErrorNumber::inputOutput) << c.name;
    EXPECT_EQ(files.setxattr(file, decmpfs, Bytes(16, 1), {}).error(), ErrorNumber::inputOutput) << c.name;
    EXPECT_EQ(files.chflags(file, 0).error(), ErrorNumber::inputOutput) << c.name;
    EXPECT_TRUE(files.chmod(file, 0640)) << c.name;
    auto lock = files.openForLocking(file);
    ASSERT_TRUE(lock && (*lock)->flock());
    EXPECT_EQ(files.rename(ordinary("new", "x"), file, status(file), **lock).error(), ErrorNumber::inputOutput)
        << c.name;
    EXPECT_EQ(raw(file).size(), rawSize) << c.name;
    EXPECT_TRUE(files.unlink(file)) << c.name;
  }
}

TEST_F(DamagedState, HiddenByPermissionsIsNotAbsent) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become somebody else";
  const auto file = compressed("f", prose(3000));
  const auto plain = ordinary("plain", "0123456789");
  ASSERT_EQ(chmod(folder.c_str(), 0755), 0);
  for (const auto& each : {file, plain}) {
    ASSERT_EQ(chmod(each.c_str(), 0600), 0);
  }
  EXPECT_EQ(inOtherProcess([&] {
              if (setuid(65'534) != 0) return 9;
              if (status(file).st_flags != UF_COMPRESSED) return 1;
              if (status(plain).st_flags != 0 || status(plain).st_size != 10) return 2;
              return 0;
            }),
            0);
}

TEST_F(DamagedState, ContentIsTheRedoCopyThatTheStateNames) {
  const auto text = prose(3000);
  ASSERT_EQ(mkdir(path("sub").c_str(), 0700), 0);
  const auto file = compressed("sub/f", text);
  auto state = *StoredState::readAt(file.c_str()).value();
  state.redoIdentifier = 17;
  {
    const FileDescriptor opened(open(file.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_TRUE(StoredState::write(opened.get(), state));
    ASSERT_EQ(ftruncate(opened.get(), 100), 0);  // being rewritten
  }
  EXPECT_EQ(content(file).error(), ErrorNumber::inputOutput) << "the copy is missing";
  const auto redo = folder.appending(".quillbrook-volume/redo");
  ASSERT_TRUE(std::filesystem::create_directories(redo.bytes()));
  std::ofstream(redo.bytes() + "/17") << text.substr(1);
  EXPECT_EQ(content(file).error(), ErrorNumber::inputOutput) << "it is not whole";
  std::ofstream(redo.bytes() + "/17") << text;
  EXPECT_EQ(content(file), text);
  EXPECT_EQ(status(file).st_size, 3000);
  EXPECT_EQ(attribute(file, decmpfs, shown).value().size(), 16U) << "the header, which the state has too";
}

TEST_F(DamagedState, IsToldByNameAsByPath) {
  const auto container = compressed("container", prose(3000));
  const auto plain = ordinary("plain", "x");
  const auto damaged = compressed("damaged", prose(3000));
  ASSERT_EQ(setxattr(damaged.c_str(), "user.quillbrook.state", "x", 1, 0), 0);
  const auto alias = path("alias");
  ASSERT_EQ(symlink(container.c_str(), alias.c_str()), 0);
  const FileDescriptor above(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  for (const auto* name : {"container", "plain", "damaged", "alias", "nothing"}) {
    EXPECT_EQ(StoredState::readAt(above.get(), name), StoredState::readAt(path(name).c_str())) << name;
  }
  EXPECT_TRUE(StoredState::readAt(above.get(), "container").value());
  EXPECT_FALSE(StoredState::readAt(above.get(), "alias").value()) << "a link has no state of its own";
  EXPECT_EQ(StoredState::readAt(above.get(), "damaged").error(), ErrorNumber::inputOutput);
}

}  // namespace
}  // namespace quillbrook::test
