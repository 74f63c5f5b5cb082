// SPDX-License-Identifier: MIT
#include "Codec/StreamDecoder.h"

#include <algorithm>
#include <cstddef>

#include "Codec/Bytes.h"
#include "Codec/LzfseDecoder.h"
#include "Codec/LzfseFormat.h"
#include "Codec/LzvnDecoder.h"

namespace quillbrook::Codec::StreamDecoder {

namespace {

using namespace LzfseFormat;

DecodeOutcome decodeStored(std::span<const std::uint8_t> source, DecodeTarget& target, std::size_t& blockBytes) {
  if (source.size() < storedHeaderBytes) return DecodeOutcome::inputEnded;
  const std::size_t rawBytes = Bytes::load<std::uint32_t>(&source[4]);
  const std::size_t present = std::min(rawBytes, source.size() - storedHeaderBytes);
  if (!target.append(source.data() + storedHeaderBytes, present)) return DecodeOutcome::full;
  blockBytes = storedHeaderBytes + rawBytes;
  return present == rawBytes ? DecodeOutcome::complete : DecodeOutcome::inputEnded;
}

DecodeOutcome decodeLzvn(std::span<const std::uint8_t> source, DecodeTarget& target, std::size_t& blockBytes) {
  if (source.size() < lzvnHeaderBytes) return DecodeOutcome::inputEnded;
  const std::size_t rawBytes = Bytes::load<std::uint32_t>(&source[4]);
  const std::size_t payloadBytes = Bytes::load<std::uint32_t>(&source[8]);
  const std::size_t present = std::min(payloadBytes, source.size() - lzvnHeaderBytes);
  blockBytes = lzvnHeaderBytes + payloadBytes;

  // The block may fill its share of the destination and no more.
  const std::size_t share = std::min(rawBytes, target.room());
  DecodeTarget blockTarget{target.begin, target.next, target.next + share};
  const DecodeOutcome outcome = LzvnDecoder::decode(source.subspan(lzvnHeaderBytes, present), blockTarget);
  target.next = blockTarget.next;
  switch (outcome) {
    case DecodeOutcome::complete:
      if (blockTarget.room() != 0 || share < rawBytes) return DecodeOutcome::malformed;
      // The end opcode may come before the payload's end, so also before the end of a source that is cut short.
      return present < payloadBytes ? DecodeOutcome::inputEnded : DecodeOutcome::complete;
    case DecodeOutcome::inputEnded:
      // A payload that is there as a whole has an end opcode.
      return present < payloadBytes ? DecodeOutcome::inputEnded : DecodeOutcome::malformed;
    case DecodeOutcome::full: return share < rawBytes ? DecodeOutcome::full : DecodeOutcome::malformed;
    case DecodeOutcome::malformed: break;
  }
  return DecodeOutcome::malformed;
}

}  // namespace

DecodeOutcome decode(std::span<const std::uint8_t> source, DecodeTarget& target) noexcept {
  while (target.room() != 0) {
    if (source.size() < magicBytes) return DecodeOutcome::inputEnded;
    std::size_t blockBytes = 0;
    DecodeOutcome outcome = DecodeOutcome::malformed;
    switch (Bytes::load<std::uint32_t>(source.data())) {
      case storedMagic: outcome = decodeStored(source, target, blockBytes); break;
      case lzvnMagic: outcome = decodeLzvn(source, target, blockBytes); break;
      case plainLzfseMagic:
      case packedLzfseMagic: outcome = LzfseDecoder::decode(source, target, blockBytes); break;
      case endMagic: return DecodeOutcome::complete;
      default: return DecodeOutcome::malformed;
    }
    if (outcome != DecodeOutcome::complete) return outcome;
    source = source.subspan(blockBytes);
  }
  return DecodeOutcome::full;
}

}  // namespace quillbrook::Codec::StreamDecoder
