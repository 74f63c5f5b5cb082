// SPDX-License-Identifier: MIT
#include "Platform/Linux/DataSync.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "Platform/FilePath.h"
#include "Platform/Linux/ParsedNumber.h"
#include "Platform/Linux/SmallFile.h"
#include "Platform/Linux/SystemCall.h"

namespace quillbrook::DataSync {
namespace {

// ext4 can do without a journal, and then says so; the drivers of ext2 share its magic number.
bool hasExt4Journal(dev_t device) {
  std::error_code error;
  const auto link = std::filesystem::read_symlink(
      "/sys/dev/block/" + std::to_string(major(device)) + ":" + std::to_string(minor(device)), error);
  if (error) return false;
  const auto task = SmallFile::read(FilePath("/sys/fs/ext4/" + link.filename().string() + "/journal_task"));
  return task && parsedNumber<std::uint32_t>(task->substr(0, task->find('\n')));
}

bool dataAloneSuffices(int file) {
  struct statfs volume{};
  if (SystemCall::retrying([&] { return ::fstatfs(file, &volume); }) == -1) return false;
  if (volume.f_type == XFS_SUPER_MAGIC) return true;
  if (volume.f_type != EXT4_SUPER_MAGIC) return false;
  const auto status = SystemCall::status(file);
  return status && hasExt4Journal(status->st_dev);
}

}  // namespace

Result<void> waitForData(int file) {
  if (dataAloneSuffices(file)) {
    constexpr unsigned all = SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
    return SystemCall::checked([&] { return ::sync_file_range(file, 0, 0, all); });
  }
  return SystemCall::checked([&] { return ::fdatasync(file); });
}

}  // namespace quillbrook::DataSync
