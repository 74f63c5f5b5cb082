// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>

#include <array>
#include <cstring>

#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Volume/Daemon/InodeLock.h"
#include "Volume/Daemon/InodeSwap.h"
#include "Volume/Daemon/Inodes.h"
#include "Volume/Daemon/Operations.h"
#include "Volume/Daemon/Reply.h"

namespace quillbrook::Operations {

namespace {

// Commands of the host that name a plain structure in and the same out. The flags travel as 32 bits, whatever the
// command's number says of its argument.
constexpr std::size_t argumentMaximum = sizeof(fsxattr);

Result<std::array<char, argumentMaximum>> passOn(Volume& volume, Node& node, unsigned long command, const void* input,
                                                 std::size_t inputSize) {
  std::array<char, argumentMaximum> argument{};
  if (inputSize > argument.size()) return std::unexpected(ErrorNumber::invalid);
  if (inputSize != 0) std::memcpy(argument.data(), input, inputSize);
  if (!S_ISREG(node.kind) && !S_ISDIR(node.kind)) return std::unexpected(ErrorNumber{ENOTTY});
  const InodeLock lock(node);
  const auto file = Inodes::open(volume, node, O_RDONLY | O_NONBLOCK);
  if (!file) return std::unexpected(file.error());
  if (::ioctl(file->get(), command, argument.data()) < 0) return SystemCall::failure();
  return argument;
}

Result<void> replace(Volume& volume, Node& folder, uid_t caller, const void* input, std::size_t inputSize) {
  VolumeProtocol::ReplaceRequest request{};
  if (!S_ISDIR(folder.kind)) return std::unexpected(ErrorNumber{ENOTTY});
  if (inputSize != sizeof request) return std::unexpected(ErrorNumber::invalid);
  if (volume.options.readOnly) return std::unexpected(ErrorNumber{EROFS});
  std::memcpy(&request, input, sizeof request);
  return InodeSwap::perform(volume, folder, request, caller);
}

}  // namespace

void ioctl(fuse_req_t request, fuse_ino_t number, unsigned command, void*, fuse_file_info*, unsigned, const void* input,
           std::size_t inputSize, std::size_t outputSize) {
  std::array<char, argumentMaximum> answer{};
  Reply::answer(request, [&](Volume& volume) -> Result<Reply::IoctlResult> {
    Node& node = volume.node(number);
    switch (command) {
      case VolumeProtocol::replaceCommand: {
        const auto done = replace(volume, node, fuse_req_ctx(request)->uid, input, inputSize);
        if (!done) return std::unexpected(done.error());
        return Reply::IoctlResult{{}};
      }
      case FS_IOC_GETFLAGS:
      case FS_IOC_SETFLAGS:
      case FS_IOC_FSGETXATTR:
      case FS_IOC_FSSETXATTR: {
        const auto result = passOn(volume, node, command, input, inputSize);
        if (!result) return std::unexpected(result.error());
        answer = *result;
        return Reply::IoctlResult{std::span(answer).first(std::min(outputSize, answer.size()))};
      }
      default: return std::unexpected(ErrorNumber{ENOTTY});
    }
  });
}

}  // namespace quillbrook::Operations
