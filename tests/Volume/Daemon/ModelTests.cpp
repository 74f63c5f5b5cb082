// SPDX-License-Identifier: MIT

#include "Compression/FileCompressor.h"
#include "MountedFolder.h"

namespace quillbrook {
namespace {

// A mounted volume and what it ought to hold. Every step is done to both and compared.
class ModelTest : public VolumeTest {
 protected:
  // One random operation; its name, for the report of a failure.
  std::string step() {
    using Operation = void (ModelTest::*)();
    static constexpr std::array<std::pair<const char*, Operation>, 15> operations{{
        {"create", &ModelTest::create},
        {"write", &ModelTest::write},
        {"write", &ModelTest::write},
        {"append", &ModelTest::append},
        {"truncate", &ModelTest::truncate},
        {"punch", &ModelTest::punch},
        {"read", &ModelTest::read},
        {"map", &ModelTest::map},
        {"open", &ModelTest::open},
        {"close", &ModelTest::close},
        {"rename", &ModelTest::rename},
        {"link", &ModelTest::link},
        {"unlink", &ModelTest::unlink},
        {"compress", &ModelTest::compress},
        {"decompress", &ModelTest::decompress},
    }};
    const auto& [name, operation] = operations[below(operations.size())];
    (this->*operation)();
    return std::string(name) + " " + subject_;
  }
  void compareAll() {
    std::map<ino_t, File> numbers;
    for (const auto& [name, file] : names_) {
      ASSERT_TRUE(Content::read(mounted_->at(name)) == *file) << name;
      const struct stat status = Content::status(mounted_->at(name));
      ASSERT_EQ(static_cast<std::size_t>(status.st_size), file->size()) << name;
      // A number that a replacement has freed may come back with a new file: no two files may show the same.
      ASSERT_EQ(numbers.emplace(status.st_ino, file).first->second, file) << name;
    }
    for (const auto& handle : handles_) ASSERT_TRUE(Content::read(handle.descriptor) == *handle.file);
  }
  void remount() {
    handles_.clear();
    EXPECT_EQ(mounted_->stop(), 0);
    mount();
    ASSERT_TRUE(mounted_->isMounted()) << "the daemon's program may have been built anew at this moment";
  }
  // Of the daemon: with everything closed it may keep no descriptor of a regular file but its lock.
  long regularFiles() {
    const auto files = mounted_->openFiles();
    return std::ranges::count_if(files, [&](const MountedFolder::OpenFile& file) {
      return file.isContent && file.target.starts_with(source_.folder().bytes() + "/");
    });
  }

  using File = std::shared_ptr<std::string>;
  struct Handle {
    FileDescriptor descriptor;
    File file;
  };
  const unsigned long seed_ = numberFromEnvironment("QUILLBROOK_MODEL_SEED", std::random_device()());
  std::mt19937_64 random_{seed_};
  std::map<std::string, File> names_;
  std::vector<Handle> handles_;
  std::string subject_;
  std::size_t swaps_ = 0;

 private:
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
  std::string path() { return mounted_->at(subject_); }
  std::string newName() { return "file" + std::to_string(below(12)); }
  // A file that is there; none yet at the beginning.
  File choose() {
    if (names_.empty()) create();
    const auto chosen = std::next(names_.begin(), static_cast<std::ptrdiff_t>(below(names_.size())));
    subject_ = chosen->first;
    return chosen->second;
  }
  FileDescriptor opened(int flags) {
    FileDescriptor file = Content::open(path(), flags);
    EXPECT_TRUE(file.isOpen()) << subject_ << ": " << std::strerror(errno);
    return file;
  }

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
    ASSERT_EQ(pwrite(opened(O_WRONLY).get(), data.data(), data.size(), static_cast<off_t>(offset)),
              static_cast<ssize_t>(data.size()));
    file->resize(std::max(file->size(), offset + data.size()));
    file->replace(offset, data.size(), data);
  }
  void append() {
    const File file = choose();
    const std::string data = bytes(1 + below(5000));
    ASSERT_EQ(::write(opened(O_WRONLY | O_APPEND).get(), data.data(), data.size()), static_cast<ssize_t>(data.size()));
    *file += data;
    if (file->size() > 2'000'000) truncate();
  }
  void truncate() {
    const File file = choose();
    const std::size_t length = below(3) == 0 ? 0 : place(file->size() + 50'000);
    ASSERT_EQ(::truncate(path().c_str(), static_cast<off_t>(length)), 0);
    file->resize(length);
  }
  void punch() {
    const File file = choose();
    const std::size_t offset = place(file->size());
    const std::size_t length = 1 + below(100'000);
    ASSERT_EQ(fallocate(opened(O_RDWR).get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(offset),
                        static_cast<off_t>(length)),
              0);
    std::fill_n(file->begin() + static_cast<std::ptrdiff_t>(offset), std::min(length, file->size() - offset), '\0');
  }
  void read() {
    const File file = choose();
    const std::size_t offset = place(file->size());
    std::string seen(below(200'000), '\0');
    const ssize_t count = pread(opened(O_RDONLY).get(), seen.data(), seen.size(), static_cast<off_t>(offset));
    ASSERT_EQ(count, static_cast<ssize_t>(std::min(seen.size(), file->size() - offset)));
    ASSERT_EQ(file->compare(offset, seen.size(), seen, 0, static_cast<std::size_t>(count)), 0);
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
  // May be refused: the file is open for writing, has two names or is too small. Then nothing changes.
  template <typename Swap>
  void swap(Swap operation) {
    choose();
    const ino_t number = Content::status(path()).st_ino;
    swaps_ += operation(FilePath(path())) ? 1U : 0U;
    ASSERT_EQ(Content::status(path()).st_ino, number);
  }
  void compress() {
    swap([](const FilePath& file) { return FileCompressor::compress(file).has_value(); });
  }
  void decompress() {
    swap([](const FilePath& file) { return FileCompressor::decompress(file).has_value(); });
  }
};

TEST_P(ModelTest, TheMountHoldsWhatWasDoneToIt) {
  std::cout << "QUILLBROOK_MODEL_SEED=" << seed_ << '\n' << std::flush;
  std::string last;
  int count = 0;
  constexpr int between = 20;
  constexpr int remounts = 400;
  const auto end =
      std::chrono::steady_clock::now() + std::chrono::seconds(numberFromEnvironment("QUILLBROOK_MODEL_SECONDS", 3));
  for (; !HasFailure() && std::chrono::steady_clock::now() < end; ++count) {
    last = step();
    if (count % between == 0) compareAll();
    if (count % remounts == remounts - 1) remount();
  }
  EXPECT_FALSE(HasFailure()) << "seed " << seed_ << ", step " << count << ": " << last;
  compareAll();
  EXPECT_GT(swaps_, 0U);
  handles_.clear();
  for (int attempt = 0; attempt < 1000 && regularFiles() > 1; ++attempt) std::this_thread::yield();
  EXPECT_LE(regularFiles(), 1);
}

INSTANTIATE_TEST_SUITE_P(Owners, ModelTest, testing::ValuesIn(owners), ownerName);

}  // namespace
}  // namespace quillbrook
