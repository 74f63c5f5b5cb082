// SPDX-License-Identifier: MIT
#include "Volume/Administration/FolderUsers.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <functional>
#include <optional>
#include <ranges>
#include <string_view>
#include <utility>

#include "Platform/Linux/FolderListing.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/ParsedNumber.h"
#include "Platform/Linux/SmallFile.h"
#include "Platform/Linux/SystemCall.h"

namespace quillbrook {
namespace {

// Calls `visit` with each name.
Result<void> forEachName(const FilePath& folder, const std::function<Result<void>(const char*)>& visit) {
  auto listing = FolderListing::open(AT_FDCWD, folder.c_str());
  if (!listing) return std::unexpected(listing.error());
  for (;;) {
    const auto entry = listing->next();
    if (!entry) return std::unexpected(entry.error());
    if (!*entry) return {};
    if (const auto visited = visit((*entry)->name); !visited) return visited;
  }
}

// Whether a failure only says that the process ended meanwhile, or is none that the caller may look at.
bool isOutOfSight(ErrorNumber reason) {
  return reason.value == ENOENT || reason.value == ESRCH || reason.value == EACCES || reason.value == EPERM;
}

// One process's uses of one folder.
class Inspection {
 public:
  Inspection(const FilePath& folder, dev_t device, std::int32_t process)
      : folder_(folder), device_(device), directory_("/proc/" + std::to_string(process)) {
    user_.process = process;
  }

  // Nothing if it does not use the folder.
  Result<std::optional<FolderUser>> run() {
    for (const std::string_view link : {"cwd", "root"}) {
      if (const auto place = placeOf(directory_.appending(link))) note(user_.standsThere, *place, false);
    }
    if (const auto place = placeOf(directory_.appending("exe"))) note(user_.hasOpenFiles, *place, false);
    for (const auto& inspected : {inspectDescriptors(), inspectMappings()}) {
      if (!inspected && !isOutOfSight(inspected.error())) return std::unexpected(inspected.error());
    }
    if (!user_.standsThere && !user_.hasOpenFiles) return std::nullopt;
    std::string command = SmallFile::read(directory_.appending("comm")).value_or("?");
    if (command.ends_with('\n')) command.pop_back();
    user_.command = std::move(command);
    return std::optional(std::move(user_));
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

  Result<void> inspectDescriptors() {
    const FilePath descriptors = directory_.appending("fd");
    return forEachName(descriptors, [&](const char* name) -> Result<void> {
      const auto place = placeOf(descriptors.appending(name));
      if (!place) return {};
      const auto writable = isWritable(name);
      if (!writable && !isOutOfSight(writable.error())) return std::unexpected(writable.error());
      note(user_.hasOpenFiles, *place, writable.value_or(false));
      return {};
    });
  }

  // proc_pid_fdinfo(5): "flags:", then the flags of open(2) in octal.
  Result<bool> isWritable(std::string_view descriptor) const {
    const auto text = SmallFile::read(directory_.appending("fdinfo").appending(descriptor));
    if (!text) return std::unexpected(text.error());
    constexpr std::string_view key = "flags:\t";
    const std::size_t start = text->find(key);
    if (start == std::string::npos) return false;
    const std::string_view rest = std::string_view(*text).substr(start + key.size());
    const auto flags = parsedNumber<std::uint32_t>(rest.substr(0, rest.find('\n')), 8);
    return flags && (*flags & O_PATH) == 0 && (*flags & O_ACCMODE) != O_RDONLY;
  }

  // proc_pid_maps(5): range, permissions, offset, device, inode, and the path behind blanks.
  Result<void> inspectMappings() {
    const auto text = SmallFile::read(directory_.appending("maps"));
    if (!text) return std::unexpected(text.error());
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
    return {};
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
  if (::stat(folder.c_str(), &status) != 0) return SystemCall::failure();
  std::vector<FolderUser> users;
  const auto listed = forEachName(FilePath("/proc"), [&](const char* name) -> Result<void> {
    const auto process = parsedNumber<std::int32_t>(name);
    if (!process || *process == ::getpid()) return {};
    auto user = Inspection(folder, status.st_dev, *process).run();
    if (!user) return std::unexpected(user.error());
    if (*user) users.push_back(std::move(**user));
    return {};
  });
  if (!listed) return std::unexpected(listed.error());
  std::ranges::sort(users, {}, &FolderUser::process);
  return users;
}

}  // namespace quillbrook
