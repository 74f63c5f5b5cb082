// SPDX-License-Identifier: MIT
#include <linux/limits.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "Platform/Linux/AttributeNames.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Volume/Daemon/InodeLock.h"
#include "Volume/Daemon/Inodes.h"
#include "Volume/Daemon/Operations.h"
#include "Volume/Daemon/Reply.h"

namespace quillbrook::Operations {

namespace {

// Calls `operation(path)` with a path that leads to the node's inode, and to nothing else.
template <typename Operation>
auto withPath(Volume& volume, Node& node, Operation operation) -> decltype(operation(std::string())) {
  const InodeLock lock(node);
  const auto file = Inodes::descriptor(volume, node);
  if (!file) return std::unexpected(file.error());
  return operation(SystemCall::pathOf((*file)->get()));
}

// What the root tells the file layer of the volume.
Result<std::string> volumeAttribute(const Volume& volume, std::string_view name) {
  if (name == VolumeProtocol::sourceAttribute) {
    return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(volume.source.descriptor->get());
  }
  if (name == VolumeProtocol::placementAttribute) {
    return std::string(volume.source.isInPlace ? VolumeProtocol::placedInPlace : VolumeProtocol::placedElsewhere);
  }
  return std::unexpected(ErrorNumber::attributeMissing);
}

Result<std::vector<char>> value(Volume& volume, Node& node, const char* name, std::size_t size) {
  if (AttributeNames::isOurs(name)) {
    if (&node != &volume.nodes.root()) return std::unexpected(ErrorNumber::attributeMissing);
    const auto text = volumeAttribute(volume, name);
    if (!text) return std::unexpected(text.error());
    return std::vector<char>(text->begin(), text->end());
  }
  return withPath(volume, node, [&](const std::string& path) -> Result<std::vector<char>> {
    // Asked for the length alone, the value is not needed; a vector of that length tells it.
    std::vector<char> bytes(size);
    const ssize_t length = ::getxattr(path.c_str(), name, bytes.data(), size);
    if (length < 0) return SystemCall::failure();
    bytes.resize(static_cast<std::size_t>(length));
    return bytes;
  });
}

Result<std::vector<char>> list(Volume& volume, Node& node) {
  return withPath(volume, node, [&](const std::string& path) -> Result<std::vector<char>> {
    std::vector<char> names(XATTR_LIST_MAX);
    const ssize_t length = ::listxattr(path.c_str(), names.data(), names.size());
    if (length < 0) return SystemCall::failure();
    std::vector<char> visible;
    for (const char* name = names.data(); name < names.data() + length; name += std::strlen(name) + 1) {
      if (!AttributeNames::isOurs(name)) visible.insert(visible.end(), name, name + std::strlen(name) + 1);
    }
    return visible;
  });
}

// As getxattr(2) and listxattr(2) answer: the length for those who have no room, the bytes for those with enough.
void answerBytes(fuse_req_t request, const Result<std::vector<char>>& bytes, std::size_t size) {
  if (size == 0) {
    Reply::answer(request, [&](Volume&) -> Result<Reply::AttributeSize> {
      if (!bytes) return std::unexpected(bytes.error());
      return Reply::AttributeSize{bytes->size()};
    });
    return;
  }
  Reply::answer(request, [&](Volume&) -> Result<Reply::Bytes> {
    if (!bytes) return std::unexpected(bytes.error());
    if (bytes->size() > size) return std::unexpected(ErrorNumber{ERANGE});
    return Reply::Bytes{*bytes};
  });
}

}  // namespace

void getxattr(fuse_req_t request, fuse_ino_t number, const char* name, std::size_t size) {
  Volume& volume = Volume::of(request);
  answerBytes(request, value(volume, volume.node(number), name, size), size);
}

void listxattr(fuse_req_t request, fuse_ino_t number, std::size_t size) {
  Volume& volume = Volume::of(request);
  answerBytes(request, list(volume, volume.node(number)), size);
}

void setxattr(fuse_req_t request, fuse_ino_t number, const char* name, const char* value, std::size_t size, int flags) {
  Reply::answer(request, [&](Volume& volume) -> Result<void> {
    if (AttributeNames::isOurs(name)) return std::unexpected(ErrorNumber::notPermitted);
    return withPath(volume, volume.node(number), [&](const std::string& path) {
      return SystemCall::checked([&] { return ::setxattr(path.c_str(), name, value, size, flags); });
    });
  });
}

void removexattr(fuse_req_t request, fuse_ino_t number, const char* name) {
  Reply::answer(request, [&](Volume& volume) -> Result<void> {
    if (AttributeNames::isOurs(name)) return std::unexpected(ErrorNumber::attributeMissing);
    return withPath(volume, volume.node(number), [&](const std::string& path) {
      return SystemCall::checked([&] { return ::removexattr(path.c_str(), name); });
    });
  });
}

}  // namespace quillbrook::Operations
