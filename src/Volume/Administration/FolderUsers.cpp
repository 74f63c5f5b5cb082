// SPDX-License-Identifier: MIT
#include "Volume/Administration/FolderUsers.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <functional>
#include <memory>
#include <optional>
#include <ranges>
#include <string_view>
#include <utility>

#include "Volume/Administration/FolderPath.h"
#include "Volume/Administration/ParsedNumber.h"
#include "Volume/Administration/SmallFile.h"

namespace quillbrook {
namespace {

// Calls `visit` with each name; a folder that cannot be read has none, as that of a process that ended.
Result<void> forEachName(const FilePath& folder, const std::function<void(std::string_view)>& visit) {
  struct Close {
    void operator()(DIR* stream) const { ::closedir(stream); }
  };
  const std::unique_ptr<DIR, Close> stream(::opendir(folder.c_str()));
  if (!stream) return std::unexpected(ErrorNumber{errno});
  while (const dirent* entry = ::readdir(stream.get())) visit(entry->d_name);
  return {};
}

// One process's uses of one folder.
class Inspection {
 public:
  Inspection(const FilePath& folder, dev_t device, std::int32_t process)
      : folder_(folder), device_(device), directory_("/proc/" + std::to_string(process)) {
    user_.process = process;
  }

  std::optional<FolderUser> run() {
    for (const std::string_view link : {"cwd", "root"}) {
      if (const auto place = placeOf(directory_.appending(link))) note(user_.standsThere, *place, false);
    }
    if (const auto place = placeOf(directory_.appending("exe"))) note(user_.hasOpenFiles, *place, false);
    inspectDescriptors();
    inspectMappings();
    if (!user_.standsThere && !user_.hasOpenFiles) return std::nullopt;
    std::string command = SmallFile::read(directory_.appending("comm")).value_or("?");
    if (command.ends_with('\n')) command.pop_back();
    user_.command = std::move(command);
    return std::move(user_);
  }

 private:
  void note(bool& use, const FilePath& place, bool isWritten) {
    if (user_.example.empty() || (isWritten && !user_.writes)) user_.example = place;
    use = true;
    user_.writes = user_.writes || isWritten;
  }

  // Where a link of /proc leads, if that is in the folder and on its device. The name is compared first, so that
  // nothing elsewhere is asked: a file system that hangs must not hold this up.
  std::optional<FilePath> placeOf(const FilePath& link) const {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = ::readlink(link.c_str(), target.data(), target.size());
    if (length <= 0) return std::nullopt;
    FilePath place(std::string(target.data(), static_cast<std::size_t>(length)));
    struct stat status{};
    if (!FolderPath::contains(folder_, place) || ::stat(link.c_str(), &status) != 0 || status.st_dev != device_) {
      return std::nullopt;
    }
    return place;
  }

  void inspectDescriptors() {
    const FilePath descriptors = directory_.appending("fd");
    (void)forEachName(descriptors, [&](std::string_view name) {
      if (name.starts_with('.')) return;
      if (const auto place = placeOf(descriptors.appending(name))) note(user_.hasOpenFiles, *place, isWritable(name));
    });
  }

  // proc_pid_fdinfo(5): "flags:", then the flags of open(2) in octal.
  bool isWritable(std::string_view descriptor) const {
    const auto text = SmallFile::read(directory_.appending("fdinfo").appending(descriptor));
    if (!text) return false;
    constexpr std::string_view key = "flags:\t";
    const std::size_t start = text->find(key);
    if (start == std::string::npos) return false;
    const std::string_view rest = std::string_view(*text).substr(start + key.size());
    const auto flags = parsedNumber<std::uint32_t>(rest.substr(0, rest.find('\n')), 8);
    return flags && (*flags & O_PATH) == 0 && (*flags & O_ACCMODE) != O_RDONLY;
  }

  // proc_pid_maps(5): range, permissions, offset, device, inode, and the path behind blanks.
  void inspectMappings() {
    const auto text = SmallFile::read(directory_.appending("maps"));
    if (!text) return;
    for (const auto part : std::views::split(*text, '\n')) {
      const std::string_view line(part.begin(), part.end());
      const std::size_t slash = line.find('/');
      if (slash == std::string_view::npos ||
          !FolderPath::contains(folder_, FilePath(std::string(line.substr(slash))))) {
        continue;
      }
      const std::size_t blank = line.find(' ');
      if (!isOnDevice(line, line.substr(0, blank))) continue;
      const std::string_view permissions = line.substr(blank + 1, 4);
      note(user_.hasOpenFiles, FilePath(std::string(line.substr(slash))),
           permissions.contains('w') && permissions.contains('s'));
    }
  }

  // The device in the table is the file system's own number, which on btrfs is not what stat tells: the link is
  // asked first where the kernel lets the caller.
  bool isOnDevice(std::string_view line, std::string_view range) const {
    struct stat status{};
    if (::stat(directory_.appending("map_files").appending(range).c_str(), &status) == 0) {
      return status.st_dev == device_;
    }
    std::size_t field = 0;
    for (const auto part : std::views::split(line, ' ')) {
      if (field++ != 3) continue;
      const std::string_view device(part.begin(), part.end());
      const std::size_t colon = device.find(':');
      if (colon == std::string_view::npos) return false;
      return parsedNumber<unsigned>(device.substr(0, colon), 16) == major(device_) &&
             parsedNumber<unsigned>(device.substr(colon + 1), 16) == minor(device_);
    }
    return false;
  }

  const FilePath& folder_;
  dev_t device_;
  FilePath directory_;
  FolderUser user_;
};

}  // namespace

Result<std::vector<FolderUser>> FolderUsers::find(const FilePath& folder) {
  struct stat status{};
  if (::stat(folder.c_str(), &status) != 0) return std::unexpected(ErrorNumber{errno});
  std::vector<FolderUser> users;
  const auto listed = forEachName(FilePath("/proc"), [&](std::string_view name) {
    const auto process = parsedNumber<std::int32_t>(name);
    if (!process || *process == ::getpid()) return;
    if (auto user = Inspection(folder, status.st_dev, *process).run()) users.push_back(std::move(*user));
  });
  if (!listed) return std::unexpected(listed.error());
  std::ranges::sort(users, {}, &FolderUser::process);
  return users;
}

}  // namespace quillbrook
