// SPDX-License-Identifier: MIT
#include "Container/ContainerCheck.h"

#include <algorithm>
#include <span>
#include <vector>

#include "Container/Checksum.h"
#include "Container/ContainerReader.h"
#include "Platform/LittleEndian.h"

namespace quillbrook {

std::string describe(const ContainerDamage& damage) {
  struct {
    std::string operator()(const ContainerCutShort& d) const {
      return "cutShort(expected: " + std::to_string(d.expected) + ", got: " + std::to_string(d.got) + ")";
    }
    std::string operator()(const SurplusBytes& d) const {
      return "surplusBytes(count: " + std::to_string(d.count) + ")";
    }
    std::string operator()(const TrailerDiffers&) const { return "trailerDiffers"; }
    std::string operator()(const SpanDamaged& d) const { return "spanDamaged(index: " + std::to_string(d.index) + ")"; }
    std::string operator()(const StructureInvalid&) const { return "structureInvalid"; }
    std::string operator()(const BlockUndecodable& d) const {
      return "blockUndecodable(index: " + std::to_string(d.index) + ")";
    }
    std::string operator()(const TypeNotSupported& d) const {
      return "typeNotSupported(rawValue: " + std::to_string(d.rawValue) + ")";
    }
    std::string operator()(const ContainerUnreadable& d) const { return "unreadable(" + d.error.text() + ")"; }
  } const text;
  return std::visit(text, damage);
}

namespace ContainerCheck {
namespace {

using Finding = std::optional<ContainerDamage>;

// The first span that does not match its checksum, `isVerified` aside, which has one entry a span.
Finding checkSpans(const ByteSource& source, const ContainerState& state, const std::vector<bool>& isVerified,
                   const std::stop_token& stop) {
  std::vector<std::uint8_t> checksums(static_cast<std::size_t>(state.spanCount() * sizeof(std::uint32_t)));
  const auto gotChecksums = source.read(state.payloadByteCount(), checksums);
  if (!gotChecksums) return ContainerUnreadable{gotChecksums.error()};
  if (*gotChecksums != checksums.size()) return StructureInvalid{};  // shrank since its length was taken
  std::vector<std::uint8_t> buffer(ContainerState::spanByteCount);
  for (std::uint64_t index = 0; index < state.spanCount(); ++index) {
    if (isVerified[static_cast<std::size_t>(index)]) continue;
    if (stop.stop_requested()) return ContainerUnreadable{ErrorNumber::cancelled};
    const auto offset = index * ContainerState::spanByteCount;
    const auto span = std::span(buffer).first(
        static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), state.payloadByteCount() - offset)));
    const auto got = source.read(offset, span);
    if (!got)
      return got.error() == ErrorNumber::inputOutput ? Finding(SpanDamaged{index}) : ContainerUnreadable{got.error()};
    const auto stored = LittleEndian::load<std::uint32_t>(checksums.data() + index * sizeof(std::uint32_t));
    if (*got != span.size() || Checksum::crc32c(span) != stored) return SpanDamaged{index};
  }
  return std::nullopt;
}

// Decodes everything, and marks in `isVerified` the spans that it has verified by that.
Finding checkContent(const ByteSource& source, const ContainerState& state, std::vector<bool>& isVerified,
                     const std::stop_token& stop) {
  const auto reader = ContainerReader::open(source, state);
  if (!reader) {
    if (reader.error() == ErrorNumber::inputOutput) return StructureInvalid{};
    if (reader.error() != ErrorNumber::notSupported) return ContainerUnreadable{reader.error()};
    return TypeNotSupported{LittleEndian::load<std::uint32_t>(state.head.data() + 4)};
  }
  isVerified = (*reader)->contentSpans();
  if ((*reader)->isAllZeros()) return std::nullopt;
  ContainerReader::Scratch scratch;
  std::vector<std::uint8_t> buffer(ContainerReader::blockByteCount);
  for (std::uint64_t offset = 0; offset < state.logicalByteCount; offset += buffer.size()) {
    if (stop.stop_requested()) return ContainerUnreadable{ErrorNumber::cancelled};
    const auto got = (*reader)->read(offset, buffer, scratch);
    if (!got) return BlockUndecodable{offset / buffer.size()};
  }
  return std::nullopt;
}

Finding checkTrailer(const ByteSource& source, const ContainerState& state) {
  std::vector<std::uint8_t> trailer(ContainerState::byteCount);
  const auto got = source.read(state.rawByteCount() - trailer.size(), trailer);
  if (!got) return ContainerUnreadable{got.error()};
  const auto found = ContainerState::decode(std::span(trailer).first(*got));
  if (found != state) return TrailerDiffers{};
  return std::nullopt;
}

}  // namespace

std::optional<ContainerDamage> check(const ByteSource& source, std::uint64_t byteCount, const ContainerState& state,
                                     const std::stop_token& stop) {
  if (!state.isSealed() || state.redoIdentifier != 0) return StructureInvalid{};
  if (byteCount < state.rawByteCount()) return ContainerCutShort{state.rawByteCount(), byteCount};
  // Decoding verifies what it reads. Left to look at is what no chunk covers; only when decoding fails, everything, as
  // a damaged span says more than what came of it.
  const std::vector<bool> none(static_cast<std::size_t>(state.spanCount()), false);
  std::vector<bool> isVerified = none;
  const auto contentDamage = checkContent(source, state, isVerified, stop);
  if (auto damage = checkSpans(source, state, contentDamage ? none : isVerified, stop)) return damage;
  if (contentDamage) return contentDamage;
  if (auto damage = checkTrailer(source, state)) return damage;
  if (byteCount > state.rawByteCount()) return SurplusBytes{byteCount - state.rawByteCount()};
  return std::nullopt;
}

}  // namespace ContainerCheck
}  // namespace quillbrook
