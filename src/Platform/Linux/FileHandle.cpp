// SPDX-License-Identifier: MIT
#include "Platform/Linux/FileHandle.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace quillbrook::FileHandle {
namespace {

// A file_handle with room for the longest one.
struct Room {
  alignas(file_handle) std::array<std::byte, sizeof(file_handle) + MAX_HANDLE_SZ> bytes;
  [[nodiscard]] file_handle* get() { return reinterpret_cast<file_handle*>(bytes.data()); }
};

}  // namespace

std::optional<std::vector<std::uint8_t>> of(int file) {
  Room room{};
  room.get()->handle_bytes = MAX_HANDLE_SZ;
  int mount = 0;
  if (::name_to_handle_at(file, "", room.get(), &mount, AT_EMPTY_PATH) != 0) return std::nullopt;
  const int type = room.get()->handle_type;
  std::vector<std::uint8_t> handle(sizeof type + room.get()->handle_bytes);
  std::memcpy(handle.data(), &type, sizeof type);
  std::memcpy(handle.data() + sizeof type, room.bytes.data() + sizeof(file_handle), room.get()->handle_bytes);
  return handle;
}

FileDescriptor open(int mount, std::span<const std::uint8_t> handle) {
  int type = 0;
  if (handle.size() < sizeof type || handle.size() > sizeof type + MAX_HANDLE_SZ) return {};
  std::memcpy(&type, handle.data(), sizeof type);
  Room room{};
  room.get()->handle_type = type;
  room.get()->handle_bytes = static_cast<unsigned>(handle.size() - sizeof type);
  std::memcpy(room.bytes.data() + sizeof(file_handle), handle.data() + sizeof type, handle.size() - sizeof type);
  return FileDescriptor(::open_by_handle_at(mount, room.get(), O_PATH | O_CLOEXEC));
}

}  // namespace quillbrook::FileHandle
