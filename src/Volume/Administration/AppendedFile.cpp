// SPDX-License-Identifier: MIT
#include "Volume/Administration/AppendedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

#include "Platform/Linux/DescriptorSource.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/SystemCall.h"

namespace quillbrook {
namespace {

constexpr std::size_t bufferByteCount = 65'536;
constexpr const char* workName = "appended";

// Fills the destination; `inputOutput` at an early end.
Result<void> readAll(int file, std::uint64_t offset, std::span<std::uint8_t> destination) {
  const auto count = DescriptorSource(file).read(offset, destination);
  if (!count) return std::unexpected(count.error());
  if (*count != destination.size()) return std::unexpected(ErrorNumber::inputOutput);
  return {};
}

Result<void> copy(const AppendedFile::Surplus& surplus, int destination) {
  std::vector<std::uint8_t> buffer(bufferByteCount);
  for (std::uint64_t done = 0; done < surplus.byteCount;) {
    const auto part = std::span(buffer).first(std::min<std::uint64_t>(buffer.size(), surplus.byteCount - done));
    if (const auto read = readAll(surplus.file, surplus.offset + done, part); !read) return read;
    if (const auto written = SystemCall::writeAll(destination, done, part); !written) return written;
    done += part.size();
  }
  return {};
}

// Whether the file of that name holds exactly the surplus; then it is on disk afterwards. One that cannot be compared
// counts as another: it stays, and the next name is taken.
bool holds(int folder, const std::string& name, const AppendedFile::Surplus& surplus) {
  const auto file = SystemCall::openAt(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  const auto status = file ? SystemCall::status(file->get()) : std::unexpected(file.error());
  if (!status || !S_ISREG(status->st_mode) || static_cast<std::uint64_t>(status->st_size) != surplus.byteCount) {
    return false;
  }
  std::vector<std::uint8_t> own(bufferByteCount);
  std::vector<std::uint8_t> other(bufferByteCount);
  for (std::uint64_t done = 0; done < surplus.byteCount;) {
    const std::size_t count = std::min<std::uint64_t>(own.size(), surplus.byteCount - done);
    const auto mine = std::span(own).first(count);
    const auto theirs = std::span(other).first(count);
    if (!readAll(surplus.file, surplus.offset + done, mine) || !readAll(file->get(), done, theirs) ||
        !std::ranges::equal(mine, theirs)) {
      return false;
    }
    done += count;
  }
  return ::fsync(file->get()) == 0;
}

// `name` with the ending, cut where the host allows no longer one, not inside a character of UTF-8.
std::string candidate(std::string_view name, std::size_t number) {
  const std::string ending = number == 0 ? ".appended" : ".appended." + std::to_string(number);
  std::string_view stem = name.substr(0, NAME_MAX - ending.size());
  const auto continues = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
  if (stem.size() < name.size() && continues(name[stem.size()])) {
    while (!stem.empty() && continues(stem.back())) stem.remove_suffix(1);
    if (!stem.empty()) stem.remove_suffix(1);
  }
  return std::string(stem) + ending;
}

Result<void> fill(int work, const AppendedFile::Surplus& surplus) {
  if (const auto copied = copy(surplus, work); !copied) return copied;
  const auto status = SystemCall::status(surplus.file);
  if (!status) return std::unexpected(status.error());
  // An ordinary user owns it already, or may not give it away.
  if (::geteuid() == 0 && ::fchown(work, status->st_uid, status->st_gid) != 0) return SystemCall::failure();
  // With an access list the group's bits are its mask, which says more than the group may.
  const bool hasAccessList = ::fgetxattr(surplus.file, "system.posix_acl_access", nullptr, 0) > 0;
  if (::fchmod(work, status->st_mode & (hasAccessList ? 0600 : 0666)) != 0) return SystemCall::failure();
  const std::array<timespec, 2> times{status->st_atim, status->st_mtim};
  if (::futimens(work, times.data()) != 0) return SystemCall::failure();
  return SystemCall::checked([&] { return ::fsync(work); });
}

}  // namespace

Result<std::string> AppendedFile::keep(int folder, std::string_view name, const Surplus& surplus, int workFolder) {
  // Left by an interrupted run.
  if (::unlinkat(workFolder, workName, 0) != 0 && errno != ENOENT) return SystemCall::failure();
  FileDescriptor work;
  for (std::size_t number = 0;; ++number) {
    std::string kept = candidate(name, number);
    if (::faccessat(folder, kept.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0) {
      if (holds(folder, kept, surplus)) {
        if (::fsync(folder) != 0) return SystemCall::failure();
        return kept;
      }
      continue;
    }
    if (!work.isOpen()) {
      auto made = SystemCall::openAt(workFolder, workName, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
      if (!made) return std::unexpected(made.error());
      work = std::move(*made);
      if (const auto filled = fill(work.get(), surplus); !filled) {
        const ErrorNumber reason = filled.error();
        ::unlinkat(workFolder, workName, 0);
        return std::unexpected(reason);
      }
    }
    // Never takes the place of anything, also not of what appeared just now.
    const bool isLinked = ::linkat(workFolder, workName, folder, kept.c_str(), 0) == 0;
    if (!isLinked && errno == EEXIST) continue;
    const ErrorNumber reason{errno};
    ::unlinkat(workFolder, workName, 0);
    if (!isLinked) return std::unexpected(reason);
    if (::fsync(folder) != 0) return SystemCall::failure();
    return kept;
  }
}

}  // namespace quillbrook
