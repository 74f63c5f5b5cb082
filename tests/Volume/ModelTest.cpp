// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <thread>

#include "Compression/FileCompressor.h"
#include "MountedFolder.h"
#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {
namespace {

using Random = std::mt19937_64;

// A mounted volume and what it ought to hold. Every step is done to both and compared.
class Model {
 public:
  Model(std::string source, MountedFolder::Owner owner, unsigned long seed)
      : source_(std::move(source)), owner_(owner), random_(seed) {
    mount();
    EXPECT_TRUE(mounted_->isMounted());
  }

  // One random operation; its name, for the report of a failure.
  std::string step() {
    using Operation = void (Model::*)();
    static constexpr std::array<std::pair<const char*, Operation>, 14> operations{{
        {"create", &Model::create},
        {"write", &Model::write},
        {"write", &Model::write},
        {"append", &Model::append},
        {"truncate", &Model::truncate},
        {"read", &Model::read},
        {"map", &Model::map},
        {"open", &Model::open},
        {"close", &Model::close},
        {"rename", &Model::rename},
        {"link", &Model::link},
        {"unlink", &Model::unlink},
        {"compress", &Model::compress},
        {"decompress", &Model::decompress},
    }};
    const auto& [name, operation] = operations[below(operations.size())];
    (this->*operation)();
    return std::string(name) + " " + subject_;
  }

  void compareAll() {
    for (const auto& [name, file] : names_) {
      ASSERT_TRUE(Content::read(mounted_->at(name)) == *file) << name;
      ASSERT_TRUE(size(mounted_->at(name)) == file->size()) << name;
    }
    for (const auto& handle : handles_) {
      std::string seen(handle.file->size() + 1, '\0');
      const ssize_t count = pread(handle.descriptor.get(), seen.data(), seen.size(), 0);
      ASSERT_EQ(count, static_cast<ssize_t>(handle.file->size()));
      seen.resize(handle.file->size());
      ASSERT_TRUE(seen == *handle.file);
    }
  }
  void remount() {
    handles_.clear();
    EXPECT_EQ(mounted_->stop(), 0);
    mount();
  }
  [[nodiscard]] std::size_t swaps() const { return swaps_; }
  void end() {
    handles_.clear();
    // Everything is closed: the daemon may keep no descriptor of a regular file but its lock.
    for (int attempt = 0; attempt < 1000 && regularFiles() > 1; ++attempt) std::this_thread::yield();
    EXPECT_LE(regularFiles(), 1);
  }

 private:
  using File = std::shared_ptr<std::string>;
  struct Handle {
    FileDescriptor descriptor;
    File file;
  };

  void mount() { mounted_.emplace(source_, std::vector<std::string>(), owner_); }
  std::size_t below(std::size_t limit) { return random_() % limit; }
  // Half of them near the edges of blocks.
  std::size_t place(std::size_t limit) {
    if (below(2) == 0) return below(limit + 1);
    const std::size_t edge = (below(limit / 65'536 + 1)) * 65'536 + below(3);
    return std::min(limit, edge == 0 ? 0 : edge - 1);
  }
  std::string bytes(std::size_t count) {
    return below(4) == 0 ? std::string(count, '\0') : Content::text(count, static_cast<unsigned>(random_()));
  }
  static std::size_t size(const std::string& path) {
    struct stat status{};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return static_cast<std::size_t>(status.st_size);
  }
  std::string path() { return mounted_->at(subject_); }
  // A file that is there; none yet at the beginning.
  File choose() {
    if (names_.empty()) create();
    const auto chosen = std::next(names_.begin(), static_cast<std::ptrdiff_t>(below(names_.size())));
    subject_ = chosen->first;
    return chosen->second;
  }
  FileDescriptor opened(int flags) {
    FileDescriptor file(::open(path().c_str(), flags | O_CLOEXEC));
    EXPECT_TRUE(file.isOpen()) << subject_ << ": " << std::strerror(errno);
    return file;
  }
  std::string newName() { return "file" + std::to_string(below(12)); }

  void create() {
    subject_ = newName();
    File& file = names_[subject_];
    if (!file) file = std::make_shared<std::string>();
    *file = bytes(below(300'000));
    Content::write(path(), *file);
  }
  void write() {
    const File file = choose();
    const std::size_t offset = place(file->size());
    const std::string data = bytes(1 + below(100'000));
    const FileDescriptor descriptor = opened(O_WRONLY);
    ASSERT_EQ(pwrite(descriptor.get(), data.data(), data.size(), static_cast<off_t>(offset)),
              static_cast<ssize_t>(data.size()));
    if (file->size() < offset + data.size()) file->resize(offset + data.size());
    file->replace(offset, data.size(), data);
  }
  void append() {
    const File file = choose();
    const std::string data = bytes(1 + below(5000));
    const FileDescriptor descriptor = opened(O_WRONLY | O_APPEND);
    ASSERT_EQ(::write(descriptor.get(), data.data(), data.size()), static_cast<ssize_t>(data.size()));
    *file += data;
    if (file->size() > 2'000'000) truncate();
  }
  void truncate() {
    const File file = choose();
    const std::size_t length = below(3) == 0 ? 0 : place(file->size() + 50'000);
    ASSERT_EQ(::truncate(path().c_str(), static_cast<off_t>(length)), 0);
    file->resize(length);
  }
  void read() {
    const File file = choose();
    const std::size_t offset = place(file->size());
    std::string seen(below(200'000), '\0');
    const FileDescriptor descriptor = opened(O_RDONLY);
    const ssize_t count = pread(descriptor.get(), seen.data(), seen.size(), static_cast<off_t>(offset));
    ASSERT_GE(count, 0);
    seen.resize(static_cast<std::size_t>(count));
    ASSERT_TRUE(seen == file->substr(offset, std::max<std::size_t>(seen.size(), 1)).substr(0, seen.size()));
  }
  void map() {
    const File file = choose();
    if (file->empty()) return;
    FileDescriptor descriptor = opened(O_RDWR);
    void* const memory = mmap(nullptr, file->size(), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor.get(), 0);
    ASSERT_NE(memory, MAP_FAILED);
    descriptor.reset();
    ASSERT_EQ(std::memcmp(memory, file->data(), file->size()), 0);
    const std::size_t at = place(file->size() - 1);
    static_cast<char*>(memory)[at] = (*file)[at] = 'm';
    munmap(memory, file->size());
  }
  void open() {
    const File file = choose();
    if (handles_.size() < 5) handles_.push_back({opened(below(3) == 0 ? O_RDWR : O_RDONLY), file});
  }
  void close() {
    if (!handles_.empty()) handles_.erase(handles_.begin() + static_cast<std::ptrdiff_t>(below(handles_.size())));
  }
  void rename() {
    const File file = choose();
    const std::string to = newName();
    ASSERT_EQ(::rename(path().c_str(), mounted_->at(to).c_str()), 0);
    // Two names of one file: the call does nothing.
    if (to == subject_ || (names_.contains(to) && names_[to] == file)) return;
    names_[to] = file;
    names_.erase(subject_);
  }
  void link() {
    const File file = choose();
    const std::string to = newName();
    const int done = ::link(path().c_str(), mounted_->at(to).c_str());
    ASSERT_EQ(done == 0, !names_.contains(to));
    if (done == 0) names_[to] = file;
  }
  void unlink() {
    choose();
    ASSERT_EQ(::unlink(path().c_str()), 0);
    names_.erase(subject_);
  }
  // Either may be refused: the file is open for writing, has two names or is too small. Then nothing changes.
  void compress() {
    choose();
    swaps_ += FileCompressor::compress(FilePath(path())) ? 1U : 0U;
  }
  void decompress() {
    choose();
    swaps_ += FileCompressor::decompress(FilePath(path())) ? 1U : 0U;
  }
  long regularFiles() {
    const auto files = mounted_->openFiles();
    return std::ranges::count_if(files, [&](const MountedFolder::OpenFile& file) {
      return !file.isPathOnly && file.target.starts_with(source_ + "/") && !std::filesystem::is_directory(file.target);
    });
  }

  std::string source_;
  MountedFolder::Owner owner_;
  Random random_;
  std::optional<MountedFolder> mounted_;
  std::map<std::string, File> names_;
  std::vector<Handle> handles_;
  std::string subject_;
  std::size_t swaps_ = 0;
};

class ModelTest : public testing::TestWithParam<MountedFolder::Owner> {};

TEST_P(ModelTest, TheMountHoldsWhatWasDoneToIt) {
  if (const auto obstacle = MountedFolder::obstacle(GetParam())) GTEST_SKIP() << *obstacle;
  const TemporaryFolder source;
  const unsigned long seed = TestDuration::number("QUILLBROOK_MODEL_SEED", std::random_device()());
  std::cout << "QUILLBROOK_MODEL_SEED=" << seed << std::endl;
  Model model(source.path(), GetParam(), seed);
  std::string last;
  int step = 0;
  for (const auto end = std::chrono::steady_clock::now() + TestDuration::fromEnvironment();
       std::chrono::steady_clock::now() < end; ++step) {
    last = model.step();
    constexpr int between = 20;
    constexpr int remounts = 400;
    if (step % between == 0) model.compareAll();
    if (step % remounts == remounts - 1) model.remount();
    if (testing::Test::HasFailure()) break;
  }
  EXPECT_FALSE(testing::Test::HasFailure()) << "seed " << seed << ", step " << step << ": " << last;
  model.compareAll();
  model.end();
  EXPECT_GT(model.swaps(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Owners, ModelTest, testing::Values(MountedFolder::Owner::caller, MountedFolder::Owner::nobody),
                         ownerName);

}  // namespace
}  // namespace quillbrook
