// SPDX-License-Identifier: MIT
#include "Platform/DirectoryReader.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook {
namespace {

FileKind kindOfMode(mode_t mode) {
  if (S_ISREG(mode)) return FileKind::regular;
  if (S_ISDIR(mode)) return FileKind::directory;
  if (S_ISLNK(mode)) return FileKind::symbolicLink;
  return FileKind::other;
}

struct StreamCloser {
  void operator()(DIR* stream) const { ::closedir(stream); }
};
using Stream = std::unique_ptr<DIR, StreamCloser>;

class LinuxDirectoryReader final : public DirectoryReader {
 public:
  LinuxDirectoryReader(Stream stream, std::uint64_t device) : stream_(std::move(stream)), device_(device) {}

  Result<std::optional<DirectoryEntry>> next() override {
    for (;;) {
      errno = 0;  // the only way to tell the end from a failure
      const dirent* entry = ::readdir(stream_.get());
      if (entry == nullptr) {
        if (errno != 0) return std::unexpected(ErrorNumber{errno});
        return std::nullopt;
      }
      const std::string_view name = entry->d_name;
      if (name == "." || name == ".." || (VolumeProtocol::isPrivate(true, name) && isVolumeRoot())) continue;
      return DirectoryEntry{std::string(name), kindOf(*entry)};
    }
  }

  [[nodiscard]] std::uint64_t device() const override { return device_; }

 private:
  [[nodiscard]] FileKind kindOf(const dirent& entry) const {
    // Not every file system fills the type in. An entry that is gone by now is nobody's business any more.
    if (entry.d_type != DT_UNKNOWN) return kindOfMode(static_cast<mode_t>(DTTOIF(entry.d_type)));
    struct stat status{};
    const int folder = ::dirfd(stream_.get());
    if (folder < 0 || ::fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return FileKind::other;
    return kindOfMode(status.st_mode);
  }

  // A mount hides the private folder itself; a volume's bare source is known by the lock in it, or by an owner who
  // keeps it closed.
  [[nodiscard]] bool isVolumeRoot() const {
    const std::string lock = std::string(VolumeProtocol::privateFolder) + '/' + std::string(VolumeProtocol::lockFile);
    const int folder = ::dirfd(stream_.get());
    if (folder < 0) return false;
    return ::faccessat(folder, lock.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0 || errno == EACCES;
  }

  Stream stream_;
  std::uint64_t device_;
};

}  // namespace

Result<std::unique_ptr<DirectoryReader>> DirectoryReader::open(const FilePath& path) {
  FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!folder.isOpen()) return std::unexpected(ErrorNumber{errno});
  struct stat status{};
  if (::fstat(folder.get(), &status) != 0) return std::unexpected(ErrorNumber{errno});
  Stream stream(::fdopendir(folder.get()));
  if (stream == nullptr) return std::unexpected(ErrorNumber{errno});
  static_cast<void>(folder.release());  // the stream closes it
  return std::make_unique<LinuxDirectoryReader>(std::move(stream), status.st_dev);
}

}  // namespace quillbrook
