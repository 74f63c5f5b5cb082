// SPDX-License-Identifier: MIT
#pragma once

#include <linux/fuse.h>
#include <linux/ioctl.h>

#include <array>
#include <cstdint>

// What the kernel's side of FUSE knows and the headers of older systems do not: from the kernel's
// include/uapi/linux/fuse.h as of protocol 7.40 (Linux 6.9).
namespace quillbrook::KernelProtocol {

// Flags of the INIT exchange. The second word is valid where FUSE_INIT_EXT stands in the first.
inline constexpr std::uint32_t initExtended = 1U << 30U;
inline constexpr std::uint32_t handleKillprivV2 = 1U << 28U;
inline constexpr std::uint32_t passthroughSecondWord = 1U << 5U;  // bit 37 of both words together

// fuse_init_out as of 7.40: 64 bytes, like the older one, which ended in unused words.
struct InitReply {
  std::uint32_t major;
  std::uint32_t minor;
  std::uint32_t maxReadahead;
  std::uint32_t flags;
  std::uint16_t maxBackground;
  std::uint16_t congestionThreshold;
  std::uint32_t maxWrite;
  std::uint32_t timeGranularity;
  std::uint16_t maxPages;
  std::uint16_t mapAlignment;
  std::uint32_t flags2;
  std::uint32_t maxStackDepth;
  std::array<std::uint32_t, 6> unused;
};
static_assert(sizeof(InitReply) == 64);

// Of an answer to OPEN: reads, writes and maps go to the backing file without the daemon.
inline constexpr std::uint32_t openPassthrough = 1U << 7U;

// fuse_open_out as of 7.40.
struct OpenReply {
  std::uint64_t handle;
  std::uint32_t openFlags;
  std::int32_t backingIdentifier;
};
static_assert(sizeof(OpenReply) == sizeof(fuse_open_out));

// ioctls on /dev/fuse that register a backing file and let it go.
struct BackingMap {
  std::int32_t descriptor;
  std::uint32_t flags;
  std::uint64_t padding;
};
inline constexpr unsigned long backingOpen = _IOW(229, 1, BackingMap);
inline constexpr unsigned long backingClose = _IOW(229, 2, std::uint32_t);

}  // namespace quillbrook::KernelProtocol
