// SPDX-License-Identifier: MIT

#include "NativeFixture.h"
#include "Platform/Linux/RedoCopy.h"
#include "Platform/Linux/RedoRecord.h"
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

// Compressed once more, it would hide from whoever looks for what has lost its state.
TEST_F(DamagedState, LostIsNeverTakenForContent) {
  const auto file = compressed("f", prose(3'000));
  ASSERT_EQ(removexattr(file.c_str(), "user.quillbrook.state"), 0);
  EXPECT_EQ(content(file).error(), ErrorNumber::inputOutput);
  const std::string bytes = raw(file);
  const auto cut = ordinary("cut", bytes.substr(0, bytes.size() - 1));
  EXPECT_EQ(content(cut).value(), bytes.substr(0, bytes.size() - 1)) << "only begins like one";
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
  const auto record = RedoRecord::of(opened.get(), opened.get());
  ASSERT_TRUE(record);
  const auto copyOf = [&](std::string_view bytes, const RedoRecord& target) {
    const auto copy = ordinary(".quillbrook-volume/redo/17", bytes);
    const FileDescriptor written(open(copy.c_str(), O_RDWR | O_CLOEXEC));
    EXPECT_TRUE(target.write(written.get()));
    return copy;
  };
  copyOf(prose(2'999), *record);
  EXPECT_EQ(content(file).error(), ErrorNumber::inputOutput) << "it is not whole";
  const auto copy = copyOf(prose(3'000), {.inode = record->inode + 1, .kept = record->kept, .path = {}});
  EXPECT_EQ(content(file).error(), ErrorNumber::inputOutput) << "it is another file's";
  ASSERT_EQ(removexattr(copy.c_str(), RedoRecord::attributeName), 0);
  EXPECT_EQ(content(file).error(), ErrorNumber::inputOutput) << "nobody says whose it is";
  copyOf(prose(3'000), *record);
  EXPECT_EQ(content(file), prose(3'000));
  EXPECT_EQ(status(file).st_size, 3'000);
  EXPECT_EQ(attribute(file, decmpfs, shown).value().size(), 16U) << "the header, which the state has too";

  // Somebody else's folder, to which a link leads: neither read nor cleared up.
  std::filesystem::rename(path(".quillbrook-volume/redo").bytes(), path("elsewhere").bytes());
  std::filesystem::create_directory_symlink(path("elsewhere").bytes(), path(".quillbrook-volume/redo").bytes());
  EXPECT_EQ(content(file).error(), ErrorNumber::inputOutput);
  RedoCopy::remove(FileDescriptor(open(folder.c_str(), O_PATH | O_CLOEXEC)).get(), state,
                   {.inode = record->inode, .owner = geteuid()});
  EXPECT_TRUE(std::filesystem::exists(path("elsewhere/17").bytes()));
}

// Whoever reads beneath a mount meets files that the daemon is turning back: its steps are state, bytes, state.
TEST_F(DamagedState, BytesOfAFileThatIsBeingTurnedBackAreNoDamage) {
  const auto file = compressed("f", prose(3'000));
  const auto reader = files.openForReading(file);
  ASSERT_TRUE(reader);
  const FileDescriptor opened(open(file.c_str(), O_RDWR | O_CLOEXEC));
  const auto sealed = StoredState::read(opened.get()).value().value_or(ContainerState{});
  auto naming = sealed;
  naming.redoIdentifier = 17;
  ASSERT_TRUE(StoredState::write(opened.get(), naming));
  ASSERT_EQ(pwrite(opened.get(), "plain", 5, 0), 5);
  Bytes bytes(100);
  EXPECT_EQ((*reader)->read(bytes).error(), ErrorNumber::stale);
  ASSERT_TRUE(StoredState::remove(opened.get()));
  EXPECT_EQ((*reader)->read(bytes).error(), ErrorNumber::stale);
  ASSERT_TRUE(StoredState::write(opened.get(), sealed));
  EXPECT_EQ((*reader)->read(bytes).error(), ErrorNumber::inputOutput) << "damage all the same";
}

// Written by earlier versions, read by later ones.
TEST_F(DamagedState, TheRecordOfARedoCopyKeepsItsForm) {
  const auto copy = ordinary("copy", "");
  const FileDescriptor opened(open(copy.c_str(), O_RDWR | O_CLOEXEC));
  const RedoRecord record{.inode = 0x0102030405060708,
                          .kept = {.mode = 04751,
                                   .accessTime = {.tv_sec = -2, .tv_nsec = 999'999'999},
                                   .modificationTime = {.tv_sec = 0x1122334455, .tv_nsec = 1},
                                   .capability = {0xCA, 0xFE}},
                          .path = "a/b"};
  ASSERT_TRUE(record.write(opened.get()));
  const Bytes golden{'Q',  'R', 1,    0,    0xE9, 0x09, 0,    0,    8,    7,    6,    5,    4,    3,
                     2,    1,   0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x55, 0x44, 0x33, 0x22,
                     0x11, 0,   0,    0,    0xFF, 0xC9, 0x9A, 0x3B, 1,    0,    0,    0,    2,    0,
                     0,    0,   3,    0,    0,    0,    0xCA, 0xFE, 'a',  '/',  'b'};
  Bytes stored(100);
  const auto length = getxattr(copy.c_str(), "user.quillbrook.target", stored.data(), stored.size());
  ASSERT_EQ(length, static_cast<ssize_t>(golden.size()));
  stored.resize(golden.size());
  EXPECT_EQ(stored, golden);
  const auto read = RedoRecord::read(opened.get());
  ASSERT_TRUE(read);
  EXPECT_EQ(read->inode, record.inode);
  EXPECT_EQ(read->kept.mode, record.kept.mode);
  EXPECT_EQ(read->kept.accessTime.tv_sec, -2);
  EXPECT_EQ(read->kept.accessTime.tv_nsec, 999'999'999);
  EXPECT_EQ(read->kept.modificationTime.tv_sec, 0x1122334455);
  EXPECT_EQ(read->kept.capability, record.kept.capability);
  EXPECT_EQ(read->path, "a/b");
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
