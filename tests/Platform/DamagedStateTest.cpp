// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include "NativeFixture.h"
#include "Platform/Linux/StoredState.h"

namespace quillbrook::test {
namespace {

class DamagedState : public NativeFixture {};

TEST_F(DamagedState, IsNeverTakenForOrdinary) {
  const std::vector<std::pair<std::string, std::function<void(Bytes&)>>> cases{
      {"one bit", [](Bytes& state) { state[20] ^= 1; }},       {"empty", [](Bytes& state) { state.clear(); }},
      {"too short", [](Bytes& state) { state.pop_back(); }},   {"too long", [](Bytes& state) { state.resize(300); }},
      {"a later version", [](Bytes& state) { state[2] = 2; }},
  };
  for (const auto& [name, damage] : cases) {
    SCOPED_TRACE(name);
    const auto file = compressed(name, prose(3'000));
    const auto state = StoredState::readAt(file.c_str()).value().value_or(ContainerState{}).encode();
    Bytes bytes(state.begin(), state.end());
    damage(bytes);
    ASSERT_EQ(setxattr(file.c_str(), "user.quillbrook.state", bytes.data(), bytes.size(), 0), 0);
    const auto before = raw(file);
    EXPECT_EQ(status(file).st_flags, UF_COMPRESSED);
    EXPECT_EQ(status(file).st_size, static_cast<std::int64_t>(before.size()));
    const auto lock = locked(file);
    for (const auto& error : {
             content(file).error(),
             attribute(file, decmpfs, shown).error(),
             files.setxattr(file, decmpfs, Bytes(16, 1), {}).error(),
             files.chflags(file, 0).error(),
             files.rename(ordinary("new", "x"), file, status(file), *lock).error(),
         }) {
      EXPECT_EQ(error, ErrorNumber::inputOutput);
    }
    EXPECT_TRUE(files.chmod(file, 0640));
    EXPECT_EQ(raw(file), before);
    EXPECT_TRUE(files.unlink(file));
  }
}

TEST_F(DamagedState, HiddenByPermissionsIsNotAbsent) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become somebody else";
  const auto file = compressed("f", prose(3'000));
  const auto plain = ordinary("plain", "0123456789");
  ASSERT_EQ(chmod(folder.c_str(), 0755), 0);
  for (const auto& each : {file, plain}) ASSERT_EQ(chmod(each.c_str(), 0600), 0);
  EXPECT_EQ(inOtherProcess([&] {
              if (setuid(65'534) != 0) return 9;
              if (status(file).st_flags != UF_COMPRESSED) return 1;
              return status(plain).st_flags == 0 && status(plain).st_size == 10 ? 0 : 2;
            }),
            0);
}

TEST_F(DamagedState, ContentIsTheRedoCopyThatTheStateNames) {
  ASSERT_TRUE(std::filesystem::create_directory(path("sub").bytes()));
  const auto file = compressed("sub/f", prose(3'000));
  auto state = StoredState::readAt(file.c_str()).value().value_or(ContainerState{});
  state.redoIdentifier = 17;
  const FileDescriptor opened(open(file.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_TRUE(StoredState::write(opened.get(), state));
  ASSERT_EQ(ftruncate(opened.get(), 100), 0);  // being rewritten
  EXPECT_EQ(content(file).error(), ErrorNumber::inputOutput) << "the copy is missing";
  ASSERT_TRUE(std::filesystem::create_directories(path(".quillbrook-volume/redo").bytes()));
  ordinary(".quillbrook-volume/redo/17", prose(2'999));
  EXPECT_EQ(content(file).error(), ErrorNumber::inputOutput) << "it is not whole";
  ordinary(".quillbrook-volume/redo/17", prose(3'000));
  EXPECT_EQ(content(file), prose(3'000));
  EXPECT_EQ(status(file).st_size, 3'000);
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
