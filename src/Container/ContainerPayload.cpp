// SPDX-License-Identifier: MIT
#include "Container/ContainerPayload.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "Container/Checksum.h"
#include "Platform/LittleEndian.h"

namespace quillbrook {
namespace {

constexpr std::uint64_t spanByteCount = ContainerState::spanByteCount;
constexpr std::uint64_t windowSpanCount = 16;

std::uint64_t newIdentifier() {
  static std::atomic<std::uint64_t> next{1};
  return next.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

ContainerPayload::ContainerPayload(const ByteSource& source, std::uint64_t byteCount,
                                   std::vector<std::uint32_t> checksums)
    : source_(&source), identifier_(newIdentifier()), byteCount_(byteCount), checksums_(std::move(checksums)) {}

Result<ContainerPayload> ContainerPayload::open(const ByteSource& source, const ContainerState& state) {
  // At most 256 KiB, as value and fork are of 32 bits.
  std::vector<std::uint8_t> stored(static_cast<std::size_t>(state.spanCount()) * sizeof(std::uint32_t));
  const auto got = source.read(state.payloadByteCount(), stored);
  if (!got) return std::unexpected(got.error());
  if (*got != stored.size()) return std::unexpected(ErrorNumber::inputOutput);
  std::vector<std::uint32_t> checksums(static_cast<std::size_t>(state.spanCount()));
  for (std::size_t i = 0; i < checksums.size(); ++i) {
    checksums[i] = LittleEndian::load<std::uint32_t>(stored.data() + i * sizeof(std::uint32_t));
  }
  return ContainerPayload(source, state.payloadByteCount(), std::move(checksums));
}

Result<std::span<const std::uint8_t>> ContainerPayload::view(std::uint64_t offset, std::size_t count,
                                                             std::uint64_t wantedEnd, Window& window) const {
  if (count == 0) return std::span<const std::uint8_t>();
  if (offset > byteCount_ || count > byteCount_ - offset) return std::unexpected(ErrorNumber::inputOutput);
  const auto firstSpan = offset / spanByteCount;
  const auto windowStart = window.firstSpan_ * spanByteCount;
  const auto windowEnd = windowStart + window.byteCount_;
  const bool isMine = window.payloadIdentifier_ == identifier_;
  if (!isMine || offset < windowStart || offset + count > windowEnd) {
    const auto needed = (offset + count - 1) / spanByteCount + 1;
    const auto wanted = std::min((wantedEnd + spanByteCount - 1) / spanByteCount, firstSpan + windowSpanCount);
    const auto end = std::min(std::max(needed, wanted) * spanByteCount, byteCount_);
    const auto wholeByteCount = static_cast<std::size_t>(end - firstSpan * spanByteCount);
    window.payloadIdentifier_ = 0;
    // A chunk often begins in the span in which the one before it ended: what is verified already is kept.
    std::size_t kept = 0;
    if (isMine && window.firstSpan_ <= firstSpan && firstSpan * spanByteCount < windowEnd) {
      const auto surplus = static_cast<std::size_t>(firstSpan * spanByteCount - windowStart);
      std::shift_left(window.bytes_.begin(), window.bytes_.begin() + static_cast<std::ptrdiff_t>(window.byteCount_),
                      static_cast<std::ptrdiff_t>(surplus));
      kept = window.byteCount_ - surplus;
    }
    if (window.bytes_.size() < wholeByteCount) window.bytes_.resize(wholeByteCount);
    window.byteCount_ = wholeByteCount;
    const auto fresh = std::span(window.bytes_).first(wholeByteCount).subspan(kept);
    const auto freshOffset = firstSpan * spanByteCount + kept;
    const auto got = source_->read(freshOffset, fresh);
    if (!got) return std::unexpected(got.error());
    if (*got != fresh.size()) return std::unexpected(ErrorNumber::inputOutput);
    auto span = static_cast<std::size_t>(freshOffset / spanByteCount);
    for (std::size_t at = 0; at < fresh.size(); at += spanByteCount, ++span) {
      const auto bytes = fresh.subspan(at, std::min<std::size_t>(spanByteCount, fresh.size() - at));
      if (Checksum::crc32c(bytes) != checksums_[span]) return std::unexpected(ErrorNumber::inputOutput);
    }
    window.firstSpan_ = firstSpan;
    window.payloadIdentifier_ = identifier_;
  }
  return std::span<const std::uint8_t>(window.bytes_)
      .subspan(static_cast<std::size_t>(offset - window.firstSpan_ * spanByteCount), count);
}

Result<void> ContainerPayload::read(std::uint64_t offset, std::span<std::uint8_t> destination) const {
  Window window;
  const auto end = offset + destination.size();
  while (!destination.empty()) {
    const auto count = std::min<std::size_t>(destination.size(), spanByteCount);
    const auto bytes = view(offset, count, end, window);
    if (!bytes) return std::unexpected(bytes.error());
    std::ranges::copy(*bytes, destination.begin());
    destination = destination.subspan(count);
    offset += count;
  }
  return {};
}

}  // namespace quillbrook
