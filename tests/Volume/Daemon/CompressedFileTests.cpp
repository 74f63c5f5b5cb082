// SPDX-License-Identifier: MIT

#include "MountedFolder.h"
#include "Platform/Linux/StoredState.h"

namespace quillbrook {
namespace {

constexpr std::size_t byteCount = 300'000;

class CompressedFileTest : public VolumeTest {
 protected:
  // A compressed file with these bytes.
  std::string make(const std::string& name, const std::string& bytes) {
    const std::string path = mounted_->at(name);
    Content::write(path, bytes);
    Content::compress(path);
    EXPECT_TRUE(Content::isCompressed(path));
    return path;
  }

  const std::string bytes_ = Content::text(byteCount);
};

TEST_P(CompressedFileTest, LooksLikeTheFileThatItIs) {
  const std::string path = mounted_->at("f");
  Content::write(path, bytes_);
  ASSERT_EQ(setxattr(path.c_str(), "user.note", "kept", 4, 0), 0);
  const struct stat before = Content::status(path);
  Content::compress(path);
  const struct stat after = Content::status(path);
  EXPECT_EQ(after.st_size, before.st_size);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
  EXPECT_EQ(after.st_blocks, Content::status(mounted_->backing("f")).st_blocks);
  EXPECT_LT(after.st_blocks, before.st_blocks);
  const FileDescriptor file = Content::open(path);
  EXPECT_EQ(Content::read(file), bytes_);
  void* map = mmap(nullptr, byteCount, PROT_READ, MAP_SHARED, file.get(), 0);
  ASSERT_NE(map, MAP_FAILED);
  EXPECT_EQ(std::string(static_cast<char*>(map), byteCount), bytes_);
  munmap(map, byteCount);
  EXPECT_EQ(lseek(file.get(), 0, SEEK_HOLE), static_cast<off_t>(byteCount));

  const char* const state = "user.quillbrook.state";
  std::array<char, 256> names{};
  ASSERT_EQ(listxattr(path.c_str(), names.data(), names.size()), 10);
  EXPECT_STREQ(names.data(), "user.note");
  EXPECT_EQ(outcome(getxattr(path.c_str(), state, names.data(), names.size())), -ENODATA);
  EXPECT_EQ(outcome(setxattr(path.c_str(), state, "x", 1, 0)), -EPERM);
  EXPECT_EQ(outcome(removexattr(path.c_str(), state)), -ENODATA);
  EXPECT_TRUE(Content::isCompressed(path));
}

TEST_P(CompressedFileTest, StaysCompressedWhileOnlyItsNamesAndAttributesChange) {
  const std::string path = make("f", bytes_);
  const std::string other = mounted_->at("g");
  EXPECT_EQ(chmod(path.c_str(), 0604), 0);
  EXPECT_EQ(setxattr(path.c_str(), "user.note", "x", 1, 0), 0);
  const std::array<timespec, 2> times{timespec{5, 6}, timespec{7, 8}};
  EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
  EXPECT_EQ(rename(path.c_str(), other.c_str()), 0);
  EXPECT_EQ(link(other.c_str(), path.c_str()), 0);
  EXPECT_EQ(Content::status(path).st_mtim.tv_nsec, 8);
  EXPECT_TRUE(Content::isCompressed(other));
  EXPECT_EQ(Content::read(path), bytes_);
  // Through one name it is expanded for all of them.
  Content::write(path, "short");
  EXPECT_EQ(Content::read(other), "short");
}

TEST_P(CompressedFileTest, IsOrdinaryOnceItIsOpenForWriting) {
  std::string bytes = bytes_ + std::string(2'000'000, '\0');
  const std::string path = make("f", bytes);
  ASSERT_EQ(chmod(path.c_str(), 04755), 0);
  const struct stat before = Content::status(path);
  // Somebody reads it all the while.
  const FileDescriptor reader = Content::open(path);
  char first = 0;
  EXPECT_EQ(pread(reader.get(), &first, 1, 0), 1);
  const FileDescriptor writer = Content::open(path, O_RDWR);
  const struct stat after = Content::status(path);
  EXPECT_FALSE(Content::isCompressed(path));
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
  EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_LT(Content::status(mounted_->backing("f")).st_blocks * 512, 400'000) << "the zeros are no hole";
  EXPECT_EQ(pwrite(writer.get(), "XYZ", 3, 100'000), 3);
  bytes.replace(100'000, 3, "XYZ");
  EXPECT_EQ(Content::read(path), bytes);
  EXPECT_EQ(Content::read(reader), bytes);
  EXPECT_EQ(Content::read(mounted_->backing("f")), bytes);
}

TEST_P(CompressedFileTest, DamageIsAnErrorAndNeverWrongBytes) {
  const std::string error = "unreadable: Input/output error";
  const std::vector<std::tuple<const char*, std::string, std::function<void(const std::string& backing)>>> cases{
      {"flipped byte", error,
       [](auto& path) {
         const FileDescriptor file = Content::open(path, O_RDWR);
         char byte = 0;
         EXPECT_EQ(pread(file.get(), &byte, 1, 1000), 1);
         byte = static_cast<char>(byte ^ 1);
         EXPECT_EQ(pwrite(file.get(), &byte, 1, 1000), 1);
       }},
      {"broken state", error,
       [](auto& path) { EXPECT_EQ(setxattr(path.c_str(), "user.quillbrook.state", "broken", 6, 0), 0); }},
      {"surplus bytes", bytes_,
       [](auto& path) { EXPECT_EQ(write(Content::open(path, O_WRONLY | O_APPEND).get(), "x", 1), 1); }},
  };
  for (const auto& [name, seen, damage] : cases) {
    SCOPED_TRACE(name);
    const std::string path = make("f", bytes_);
    mounted_->stop();
    damage(path);
    mount();
    EXPECT_EQ(outcome(Content::open(path, O_RDWR).get()), -EIO);
    EXPECT_TRUE(Content::read(path) == seen) << Content::read(path).substr(0, 80);
    EXPECT_EQ(chmod(path.c_str(), 0600), 0);
    const std::string other = mounted_->at("g");
    EXPECT_EQ(rename(path.c_str(), other.c_str()), 0);
    EXPECT_EQ(truncate(other.c_str(), 0), 0);
    Content::write(other, "again");
    EXPECT_EQ(Content::read(other), "again");
    EXPECT_EQ(unlink(other.c_str()), 0);
  }
}

// A file was opened to be emptied, and a crash came between the first step and the last.
TEST_P(CompressedFileTest, GoesOnWithEmptying) {
  const std::string path = make("f", bytes_);
  mounted_->stop();
  const FileDescriptor file = Content::open(path, O_RDWR);
  ASSERT_TRUE(StoredState::write(file.get(), ContainerState{.valueByteCount = 16, .creationTime = {}}));
  mount();
  EXPECT_EQ(Content::read(path), "");
  EXPECT_EQ(write(Content::open(path, O_WRONLY | O_APPEND).get(), "new", 3), 3);
  EXPECT_EQ(Content::read(path), "new");
}

INSTANTIATE_TEST_SUITE_P(Owners, CompressedFileTest, testing::ValuesIn(owners), ownerName);

}  // namespace
}  // namespace quillbrook
