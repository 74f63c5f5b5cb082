// SPDX-License-Identifier: MIT
#pragma once

#include <fuse_lowlevel.h>

#include <cstdint>
#include <optional>
#include <span>
#include <type_traits>
#include <utility>

#include "Platform/ErrorNumber.h"
#include "Volume/Daemon/Handle.h"
#include "Volume/Daemon/KernelProtocol.h"
#include "Volume/Daemon/Volume.h"

// The wall at the edge: an operation is a function that returns a value or an error, and `answer` replies exactly once.
namespace quillbrook::Reply {

struct Attributes {
  struct stat status;
  bool isTransient = false;  // may change without the kernel being told: not to be kept
};
// Counts one lookup of `node`.
struct Entry {
  Node& node;
  struct stat status;
  bool isTransient = false;  // may change without the kernel being told: not to be kept
};
struct Opened {
  Node& node;
  Handle handle;
  KernelProtocol::OpenReply reply;
};
struct Created {
  Entry entry;
  Opened opened;
};
struct Bytes {
  std::span<const char> bytes;
};
struct Text {
  const char* text;  // zero-terminated
};
struct AttributeSize {
  std::size_t byteCount;
};
struct Written {
  std::size_t byteCount;
};
struct Position {
  off_t offset;
};
struct IoctlResult {
  std::span<const char> bytes;
};
struct FileSystemStatus {
  struct statvfs status;
};

[[nodiscard]] fuse_entry_param parameters(Volume& volume, const Entry& entry);

void send(fuse_req_t request, Volume& volume, const Attributes& reply);
void send(fuse_req_t request, Volume& volume, const Entry& reply);
void send(fuse_req_t request, Volume& volume, const Opened& reply);
void send(fuse_req_t request, Volume& volume, const Created& reply);
void send(fuse_req_t request, Volume& volume, const Bytes& reply);
void send(fuse_req_t request, Volume& volume, const Text& reply);
void send(fuse_req_t request, Volume& volume, const AttributeSize& reply);
void send(fuse_req_t request, Volume& volume, const Written& reply);
void send(fuse_req_t request, Volume& volume, const Position& reply);
void send(fuse_req_t request, Volume& volume, const IoctlResult& reply);
void send(fuse_req_t request, Volume& volume, const FileSystemStatus& reply);

// Calls `operation` with the volume, and answers the request by what it returns: Result<void>, or Result of one of the
// above.
template <typename Operation>
void answer(fuse_req_t request, Operation&& operation) {
  Volume& volume = Volume::of(request);
  auto result = std::forward<Operation>(operation)(volume);
  if (!result) {
    fuse_reply_err(request, result.error().value);
  } else if constexpr (std::is_void_v<typename decltype(result)::value_type>) {
    fuse_reply_err(request, 0);
  } else {
    send(request, volume, *result);
  }
}

}  // namespace quillbrook::Reply
