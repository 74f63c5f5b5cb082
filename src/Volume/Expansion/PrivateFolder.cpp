// SPDX-License-Identifier: MIT
#include "Volume/Expansion/PrivateFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <string_view>

#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook::PrivateFolder {

namespace {

Result<FileDescriptor> openMade(int parent, std::string_view name) {
  const std::string leaf(name);
  constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;
  auto folder = SystemCall::openAt(parent, leaf.c_str(), flags);
  if (folder || folder.error() != ErrorNumber::noEntry) return folder;
  if (mkdirat(parent, leaf.c_str(), 0700) != 0 && errno != EEXIST) return SystemCall::failure();
  return SystemCall::openAt(parent, leaf.c_str(), flags);
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
