// SPDX-License-Identifier: MIT
#include "MountedFolder.h"

#include <grp.h>
#include <sys/mount.h>

#include "Compression/FileCompressor.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook {

constexpr uid_t nobody = 65534;

std::optional<std::string> MountedFolder::obstacle(Owner owner) {
  if (access("/dev/fuse", R_OK | W_OK) != 0) return "/dev/fuse cannot be opened";
  if (owner == Owner::nobody && geteuid() != 0) return "only root can hand a mount to another user";
  if (geteuid() != 0 && access("/usr/bin/fusermount3", X_OK) != 0) return "fusermount3 is missing";
  return std::nullopt;
}

MountedFolder::MountedFolder(std::string source, std::vector<std::string> arguments, Owner owner)
    : source_(std::move(source)), owner_(owner), log_(memfd_create("log", MFD_CLOEXEC)) {
  std::vector<std::string> words{VOLUME_PROGRAM, "-f"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  FileDescriptor folder;
  FileDescriptor device;
  if (owner_ == Owner::nobody) {
    // Opened before the mount hides it.
    EXPECT_EQ(chown(source_.c_str(), nobody, nobody), 0);
    folder = FileDescriptor(open(source_.c_str(), O_RDONLY | O_DIRECTORY));
    device = FileDescriptor(open("/dev/fuse", O_RDWR));
    const std::string options = "fd=" + std::to_string(device.get()) +
                                ",rootmode=40000,user_id=65534,group_id=65534,default_permissions,allow_other";
    EXPECT_EQ(mount(source_.c_str(), source_.c_str(), "fuse.quillbrook", MS_NOSUID | MS_NODEV, options.c_str()), 0);
    words.insert(words.end(), {"--fd", std::to_string(device.get()), "/proc/self/fd/" + std::to_string(folder.get())});
  }
  words.push_back(source_);
  std::vector<char*> pointers(words.size() + 1);
  std::ranges::transform(words, pointers.begin(), [](std::string& word) { return word.data(); });
  // Opened before it becomes somebody else, who may not reach the folder that it was built in.
  const FileDescriptor program = Content::open(VOLUME_PROGRAM);
  daemon_ = fork();
  if (daemon_ == 0) {
    if (dup2(log_.get(), STDERR_FILENO) < 0) _exit(2);
    if (owner_ == Owner::nobody && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)) _exit(3);
    fexecve(program.get(), pointers.data(), environ);
    _exit(4);
  }
  while (!isMounted_) {
    isMounted_ = isListed();
    if (!isMounted_ && waitpid(daemon_, nullptr, WNOHANG) == daemon_) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  if (owner_ == Owner::nobody) {
    EXPECT_EQ(setegid(nobody), 0);
    EXPECT_EQ(seteuid(nobody), 0);
  }
}

MountedFolder::~MountedFolder() {
  if (isMounted_) {
    EXPECT_EQ(stop(), 0);
  }
}

void MountedFolder::becomeCaller() const {
  if (owner_ != Owner::nobody) return;
  EXPECT_EQ(seteuid(0), 0);
  EXPECT_EQ(setegid(0), 0);
}

// In the mount table.
bool MountedFolder::isListed() const {
  const std::string mark = " " + source_ + " " + std::string(VolumeProtocol::mountType);
  return Content::read("/proc/self/mounts").contains(mark);
}

void MountedFolder::detach() const {
  ::kill(daemon_, SIGTERM);
  while (isListed() && isServing()) std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

bool MountedFolder::isServing() const {
  siginfo_t end{};
  return waitid(P_PID, static_cast<id_t>(daemon_), &end, WEXITED | WNOHANG | WNOWAIT) == 0 && end.si_pid == 0;
}

int MountedFolder::stop() {
  becomeCaller();
  ::kill(daemon_, SIGTERM);
  int status = -1;
  waitpid(daemon_, &status, 0);
  daemon_ = -1;
  isMounted_ = false;
  EXPECT_EQ(Content::read(log_), "");
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string MountedFolder::backing(const std::string& name) const {
  std::array<char, 256> folder{};
  const std::string attribute(VolumeProtocol::sourceAttribute);
  EXPECT_GT(getxattr(source_.c_str(), attribute.c_str(), folder.data(), folder.size()), 0);
  return std::string(folder.data()) + "/" + name;
}

std::vector<MountedFolder::OpenFile> MountedFolder::openFiles() const {
  std::vector<OpenFile> files;
  const std::string process = "/proc/" + std::to_string(daemon_);
  for (const auto& entry : std::filesystem::directory_iterator(process + "/fd")) {
    std::error_code gone;
    const std::string target = std::filesystem::read_symlink(entry.path(), gone);
    const std::string info = Content::read(process + "/fdinfo/" + entry.path().filename().string());
    const std::size_t flags = info.find("flags:");
    if (flags == std::string::npos) continue;
    // The entry leads to the file itself, even where the mount hides its name.
    const bool isPathOnly = (std::stoul(info.substr(flags + 6), nullptr, 8) & O_PATH) != 0;
    files.push_back({target, !isPathOnly && std::filesystem::is_regular_file(entry.path(), gone)});
  }
  return files;
}

void VolumeTest::SetUp() {
  if (const auto obstacle = MountedFolder::obstacle(GetParam())) GTEST_SKIP() << *obstacle;
  mount();
  ASSERT_TRUE(mounted_->isMounted());
}

std::string ownerName(const testing::TestParamInfo<MountedFolder::Owner>& owner) {
  return owner.param == MountedFolder::Owner::nobody ? "nobody" : "caller";
}

long outcome(long value) {
  return value < 0 ? -errno : value;
}

unsigned long numberFromEnvironment(const char* variable, unsigned long otherwise) {
  const char* text = std::getenv(variable);
  return text == nullptr ? otherwise : std::strtoul(text, nullptr, 10);
}

namespace Content {

std::string text(std::size_t byteCount, unsigned seed) {
  return ScratchFolder::prose(byteCount, seed);
}

void write(const std::string& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << bytes;
  file.close();
  EXPECT_TRUE(file) << path;
}

std::string read(const FileDescriptor& file) {
  std::string bytes;
  std::array<char, 65'536> piece{};
  for (;;) {
    const ssize_t count = pread(file.get(), piece.data(), piece.size(), static_cast<off_t>(bytes.size()));
    if (count == -1) return std::string("unreadable: ") + std::strerror(errno);
    if (count == 0) return bytes;
    bytes.append(piece.data(), static_cast<std::size_t>(count));
  }
}

std::string read(const std::string& path) {
  const FileDescriptor file = open(path);
  return file.isOpen() ? read(file) : std::string("unreadable: ") + std::strerror(errno);
}

FileDescriptor open(const std::string& path, int flags) {
  return FileDescriptor(::open(path.c_str(), flags | O_CLOEXEC));
}

struct stat status(const std::string& path) {
  struct stat result{};
  EXPECT_EQ(lstat(path.c_str(), &result), 0) << path;
  return result;
}

void compress(const std::string& path, FileSystem& fileSystem) {
  const auto result =
      FileCompressor::compress(FilePath(path), FileCompressor::defaultStreamingThreshold, nullptr, fileSystem);
  EXPECT_TRUE(result) << path << ": " << describe(result.error());
}

bool isCompressed(const std::string& path) {
  const auto status = FileSystem::native().lstat(FilePath(path));
  EXPECT_TRUE(status);
  return status && (status->st_flags & UF_COMPRESSED) != 0;
}

}  // namespace Content

}  // namespace quillbrook
