// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/FileSystem.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Support/ScratchFolder.h"

namespace quillbrook {

// A volume mounted in place over a folder by the daemon program, in the foreground, watched to its end.
class MountedFolder {
 public:
  // Whose daemon it is. `nobody`: mounted by the test, which must be root, and served by an unprivileged daemon that
  // gets the descriptor; the test goes on as that user until the daemon has ended.
  enum class Owner : std::uint8_t { caller, nobody };

  // Why there can be no mount here; nothing if there can.
  static std::optional<std::string> obstacle(Owner owner = Owner::caller);

  explicit MountedFolder(std::string source, std::vector<std::string> arguments = {}, Owner owner = Owner::caller);
  // Ends the daemon as stop() does, if that has not been done.
  ~MountedFolder();
  MountedFolder(const MountedFolder&) = delete;
  MountedFolder& operator=(const MountedFolder&) = delete;

  // Asks the daemon to end, and waits until the mount is out of sight.
  void detach() const;
  // Whether the daemon still runs.
  [[nodiscard]] bool isServing() const;
  // Asks the daemon to end, and waits. Its exit code, and a failed expectation if it said anything.
  int stop();

  [[nodiscard]] bool isMounted() const { return isMounted_; }
  [[nodiscard]] std::string at(const std::string& name) const { return source_ + "/" + name; }
  [[nodiscard]] const std::string& source() const { return source_; }
  // The same file beneath the mount.
  [[nodiscard]] std::string backing(const std::string& name) const;
  // Of the daemon: what its descriptors lead to.
  struct OpenFile {
    std::string target;
    bool isContent = false;  // of a regular file, and not O_PATH
  };
  [[nodiscard]] std::vector<OpenFile> openFiles() const;

 private:
  void becomeCaller() const;
  [[nodiscard]] bool isListed() const;

  std::string source_;
  Owner owner_;
  FileDescriptor log_;  // what the daemon says
  pid_t daemon_ = -1;
  bool isMounted_ = false;
};

// A volume for tests that run with both owners' daemons: with the kernel's passthrough for ordinary files, and without.
class VolumeTest : public testing::TestWithParam<MountedFolder::Owner> {
 protected:
  // Skips the test where there can be no mount.
  void SetUp() override;
  // Again, if it has been stopped.
  void mount() { mounted_.emplace(source_.folder().bytes(), std::vector<std::string>(), GetParam()); }

  const ScratchFolder source_;
  std::optional<MountedFolder> mounted_;
};
[[nodiscard]] std::string ownerName(const testing::TestParamInfo<MountedFolder::Owner>& owner);
inline constexpr std::array<MountedFolder::Owner, 2> owners{MountedFolder::Owner::caller, MountedFolder::Owner::nobody};

// What a call says: its value, or the error's number below zero.
[[nodiscard]] long outcome(long value);
[[nodiscard]] unsigned long numberFromEnvironment(const char* variable, unsigned long otherwise);

namespace Content {

// Text that compresses, the same for the same seed.
[[nodiscard]] std::string text(std::size_t byteCount, unsigned seed = 1);
void write(const std::string& path, const std::string& bytes);
// From the beginning to the end, or "unreadable: " and why.
[[nodiscard]] std::string read(const FileDescriptor& file);
[[nodiscard]] std::string read(const std::string& path);
[[nodiscard]] FileDescriptor open(const std::string& path, int flags = O_RDONLY);
// Of the path itself; fails the test if there is nothing.
[[nodiscard]] struct stat status(const std::string& path);
// By the engine; fails the test if it does not succeed.
void compress(const std::string& path, FileSystem& fileSystem = FileSystem::native());
[[nodiscard]] bool isCompressed(const std::string& path);

}  // namespace Content

}  // namespace quillbrook
