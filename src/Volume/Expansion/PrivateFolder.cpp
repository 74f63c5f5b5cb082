// SPDX-License-Identifier: MIT
#include "Volume/Expansion/PrivateFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <string>

#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook::PrivateFolder {

namespace {

Result<FileDescriptor> openMade(int parent, std::string_view name) {
  const std::string leaf(name);
  constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  FileDescriptor folder(openat(parent, leaf.c_str(), flags));
  if (folder.isOpen()) return folder;
  if (errno != ENOENT) return SystemCall::failure();
  if (mkdirat(parent, leaf.c_str(), 0700) != 0 && errno != EEXIST) return SystemCall::failure();
  folder = FileDescriptor(openat(parent, leaf.c_str(), flags));
  if (!folder.isOpen()) return SystemCall::failure();
  return folder;
}

}  // namespace

Result<FileDescriptor> open(int source) {
  return openMade(source, VolumeProtocol::privateFolder);
}

Result<FileDescriptor> openRedo(int source) {
  const auto folder = open(source);
  if (!folder) return std::unexpected(folder.error());
  return openMade(folder->get(), VolumeProtocol::redoFolder);
}

}  // namespace quillbrook::PrivateFolder
