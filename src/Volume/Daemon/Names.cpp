// SPDX-License-Identifier: MIT
#include "Volume/Daemon/Names.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <memory>
#include <utility>

#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Platform/ReservedNames.h"
#include "Volume/Daemon/FileForm.h"
#include "Volume/Daemon/Inodes.h"

namespace quillbrook::Names {

bool isHidden(Volume& volume, const Node& folder, std::string_view name) {
  return VolumeProtocol::isPrivate(&folder == &volume.nodes.root(), name);
}

bool isTransient(std::string_view name) {
  return ReservedNames::isWorkFileName(name);
}

Result<Reply::Entry> find(Volume& volume, Node& folder, int descriptor, const char* name) {
  struct stat status{};
  if (fstatat(descriptor, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return SystemCall::failure();
  const FileForm form = FileForm::at(descriptor, name, status);
  Node& node = volume.nodes.acquire(folder, name, status);
  return Reply::Entry{.node = node, .status = Inodes::shown(node, status, form), .isTransient = isTransient(name)};
}

Doomed doomed(Volume& volume, int descriptor, const char* name) {
  struct stat status{};
  if (fstatat(descriptor, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return {};
  Doomed result{.node = volume.nodes.find({.device = status.st_dev, .inode = status.st_ino}), .pin = nullptr};
  if (!result.node) return result;
  result.pin = volume.descriptors.find(*result.node);
  if (result.pin) return result;
  FileDescriptor file(openat(descriptor, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (file.isOpen()) result.pin = std::make_shared<InodeDescriptor>(std::move(file));
  return result;
}

}  // namespace quillbrook::Names
