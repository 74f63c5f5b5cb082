// SPDX-License-Identifier: MIT
#include "MountedFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "Compression/FileCompressor.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook {

TemporaryFolder::TemporaryFolder() {
  std::string pattern = std::filesystem::temp_directory_path() / "quillbrook-volume-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
  path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::optional<std::string> MountedFolder::obstacle() {
  if (access("/dev/fuse", R_OK | W_OK) != 0) return "/dev/fuse cannot be opened";
  if (geteuid() != 0 && std::system("command -v fusermount3 >/dev/null") != 0) return "fusermount3 is missing";
  return std::nullopt;
}

MountedFolder::MountedFolder(std::string source, std::vector<std::string> arguments)
    : source_(std::move(source)), log_(source_ + ".log") {
  std::vector<std::string> words{VOLUME_PROGRAM, "-f"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  words.push_back(source_);
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);

  const FileDescriptor mounts(open("/proc/self/mounts", O_RDONLY | O_CLOEXEC));
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log_.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  EXPECT_EQ(posix_spawn(&daemon_, VOLUME_PROGRAM, &actions, nullptr, pointers.data(), environ), 0);
  posix_spawn_file_actions_destroy(&actions);
  // The mount table says when it changes; the daemon may also end without.
  while (true) {
    std::ifstream table("/proc/self/mounts");
    std::stringstream text;
    text << table.rdbuf();
    if (text.str().find(" " + source_ + " " + std::string(VolumeProtocol::mountType)) != std::string::npos) break;
    int status = 0;
    if (waitpid(daemon_, &status, WNOHANG) == daemon_) {
      daemon_ = -1;
      return;
    }
    pollfd change{.fd = mounts.get(), .events = POLLPRI, .revents = 0};
    constexpr int milliseconds = 100;
    poll(&change, 1, milliseconds);
  }
  isMounted_ = true;
}

MountedFolder::~MountedFolder() {
  if (isMounted_) {
    EXPECT_EQ(stop(), 0);
  }
  unlink(log_.c_str());
}

int MountedFolder::stop() {
  ::kill(daemon_, SIGTERM);
  int status = -1;
  waitpid(daemon_, &status, 0);
  daemon_ = -1;
  isMounted_ = false;
  EXPECT_EQ(Content::read(log_), "");
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void MountedFolder::kill() {
  ::kill(daemon_, SIGKILL);
  waitpid(daemon_, nullptr, 0);
  umount2(source_.c_str(), MNT_DETACH);
  daemon_ = -1;
  isMounted_ = false;
}

std::string MountedFolder::backing(const std::string& name) const {
  std::array<char, 256> folder{};
  const ssize_t length =
      getxattr(source_.c_str(), VolumeProtocol::sourceAttribute.data(), folder.data(), folder.size());
  EXPECT_GT(length, 0);
  return std::string(folder.data()) + "/" + name;
}

std::vector<std::string> MountedFolder::openFiles() const {
  std::vector<std::string> targets;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(daemon_) + "/fd")) {
    std::error_code gone;
    targets.push_back(std::filesystem::read_symlink(entry.path(), gone));
  }
  return targets;
}

namespace Content {

std::string text(std::size_t byteCount, unsigned seed) {
  std::mt19937 random(seed);
  std::string result;
  while (result.size() < byteCount) result += "line " + std::to_string(random() % 5000) + " of the text\n";
  result.resize(byteCount);
  return result;
}

void write(const std::string& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << bytes;
  file.close();
  EXPECT_TRUE(file) << path;
}

std::string read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

void compress(const std::string& path) {
  const auto result = FileCompressor::compress(FilePath(path));
  EXPECT_TRUE(result) << path << ": " << describe(result.error());
}

bool isCompressed(const std::string& path) {
  const auto status = FileSystem::native().lstat(FilePath(path));
  EXPECT_TRUE(status);
  return status && (status->st_flags & UF_COMPRESSED) != 0;
}

}  // namespace Content

}  // namespace quillbrook
