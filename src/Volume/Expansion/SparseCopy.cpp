// SPDX-License-Identifier: MIT
#include "Volume/Expansion/SparseCopy.h"

#include <fcntl.h>
#include <linux/falloc.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <vector>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook::SparseCopy {

namespace {

constexpr std::size_t chunkByteCount = 1U << 20U;

bool isZero(std::span<const std::uint8_t> bytes) {
  return bytes.empty() || (bytes.front() == 0 && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0);
}

// The parts of a chunk that hold anything; `offset` is aligned.
Result<void> writeWithHoles(int file, std::span<const std::uint8_t> bytes, std::uint64_t offset) {
  const auto pageAt = [&](std::size_t at) {
    return bytes.subspan(at, std::min<std::size_t>(pageByteCount, bytes.size() - at));
  };
  for (std::size_t begin = 0; begin < bytes.size();) {
    std::size_t end = begin;
    while (end < bytes.size() && !isZero(pageAt(end))) end += pageAt(end).size();
    if (const auto written = SystemCall::writeAll(file, offset + begin, bytes.subspan(begin, end - begin)); !written)
      return written;
    while (end < bytes.size() && isZero(pageAt(end))) end += pageAt(end).size();
    begin = end;
  }
  return {};
}

// Calls `data(offset, count)` and `hole(offset, count)` for the extents of `copy`, in order.
template <typename Data, typename Hole>
Result<void> forEachExtent(int copy, std::uint64_t byteCount, Data data, Hole hole) {
  for (std::uint64_t at = 0; at < byteCount;) {
    const off_t found = lseek(copy, static_cast<off_t>(at), SEEK_DATA);
    if (found < 0 && errno != ENXIO) return SystemCall::failure();
    const std::uint64_t begin = found < 0 ? byteCount : std::min(static_cast<std::uint64_t>(found), byteCount);
    if (begin > at) {
      if (const Result<void> done = hole(at, begin - at); !done) return done;
    }
    if (begin == byteCount) return {};
    const off_t next = lseek(copy, static_cast<off_t>(begin), SEEK_HOLE);
    if (next < 0) return SystemCall::failure();
    const std::uint64_t end = std::min(static_cast<std::uint64_t>(next), byteCount);
    if (const Result<void> done = data(begin, end - begin); !done) return done;
    at = end;
  }
  return {};
}

Result<void> copyRange(int file, int copy, std::uint64_t offset, std::uint64_t count,
                       std::vector<std::uint8_t>& buffer) {
  const std::uint64_t end = offset + count;
  while (offset < end) {
    const std::size_t wanted = std::min<std::uint64_t>(buffer.size(), end - offset);
    const ssize_t got =
        SystemCall::retrying([&] { return pread(copy, buffer.data(), wanted, static_cast<off_t>(offset)); });
    if (got < 0) return SystemCall::failure();
    if (got == 0) return std::unexpected(ErrorNumber::inputOutput);
    const std::span<const std::uint8_t> bytes(buffer.data(), static_cast<std::size_t>(got));
    if (const auto written = SystemCall::writeAll(file, offset, bytes); !written) return written;
    offset += bytes.size();
  }
  return {};
}

Result<void> clear(int file, std::uint64_t offset, std::uint64_t count) {
  if (SystemCall::retrying([&] {
        return fallocate(file, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(offset),
                         static_cast<off_t>(count));
      }) == 0) {
    return {};
  }
  if (errno != EOPNOTSUPP) return SystemCall::failure();
  const std::vector<std::uint8_t> zeros(std::min<std::uint64_t>(count, chunkByteCount));
  const std::uint64_t end = offset + count;
  while (offset < end) {
    const std::size_t part = std::min<std::uint64_t>(zeros.size(), end - offset);
    if (const auto written = SystemCall::writeAll(file, offset, std::span(zeros).first(part)); !written) return written;
    offset += part;
  }
  return {};
}

}  // namespace

Result<void> decode(const ContainerReader& reader, int destination, const std::stop_token& stop) {
  std::vector<std::uint8_t> buffer(chunkByteCount);
  ContainerReader::Scratch scratch;
  const std::uint64_t byteCount = reader.logicalByteCount();
  const auto setSize = [&] {
    return SystemCall::checked([&] { return ftruncate(destination, static_cast<off_t>(byteCount)); });
  };
  if (reader.isAllZeros()) return setSize();
  for (std::uint64_t offset = 0; offset < byteCount;) {
    if (stop.stop_requested()) return std::unexpected(ErrorNumber::cancelled);
    const auto count = reader.read(offset, buffer, scratch);
    if (!count) return std::unexpected(count.error());
    if (*count == 0) return std::unexpected(ErrorNumber::inputOutput);
    if (const auto written = writeWithHoles(destination, std::span(buffer).first(*count), offset); !written)
      return written;
    offset += *count;
  }
  return setSize();
}

Result<void> reserve(int file, int copy, std::uint64_t byteCount) {
  const auto set = [&](std::uint64_t offset, std::uint64_t count) -> Result<void> {
    const auto done = SystemCall::checked(
        [&] { return fallocate(file, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(offset), static_cast<off_t>(count)); });
    if (!done && done.error() == ErrorNumber{EOPNOTSUPP}) return {};
    return done;
  };
  return forEachExtent(copy, byteCount, set, [](std::uint64_t, std::uint64_t) { return Result<void>{}; });
}

Result<void> rewrite(int file, int copy, std::uint64_t byteCount) {
  if (byteCount == 0 || ioctl(file, FICLONE, copy) != 0) {
    std::vector<std::uint8_t> buffer(std::min<std::uint64_t>(chunkByteCount, byteCount));
    const auto done = forEachExtent(
        copy, byteCount,
        [&](std::uint64_t offset, std::uint64_t count) { return copyRange(file, copy, offset, count, buffer); },
        [&](std::uint64_t offset, std::uint64_t count) { return clear(file, offset, count); });
    if (!done) return done;
  }
  return SystemCall::checked([&] { return ftruncate(file, static_cast<off_t>(byteCount)); });
}

}  // namespace quillbrook::SparseCopy
