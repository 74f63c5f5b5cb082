// SPDX-License-Identifier: MIT
#include "Codec/LzfseDecoder.h"

#include <array>

#include "Codec/BitReader.h"
#include "Codec/Bytes.h"
#include "Codec/FseTables.h"
#include "Codec/LiteralBuffer.h"
#include "Codec/LzfseBlockHeader.h"
#include "Codec/LzfseFormat.h"

namespace quillbrook::Codec::LzfseDecoder {

namespace {

using namespace LzfseFormat;

static_assert(4 * maxLiteralBits <= BitReader::refilledBits, "one refill for four literals");
static_assert(maxTripleBits <= BitReader::refilledBits, "one refill for a triple");
static_assert(LzfseBlockHeader::packedFixedBytes >= BitReader::bytesInFront &&
                  LzfseBlockHeader::plainBytes >= BitReader::bytesInFront,
              "the bit reader looks at bytes in front of the payload");

// The zero bytes that fill a block's literals up to groups of four: what its triples may leave over.
constexpr std::size_t maxPadding = 3;

// Decodes all literals, a multiple of four. False if the payload holds fewer bits than they take.
bool decodeLiterals(const LzfseBlockHeader& header, const std::uint8_t* payload, LiteralBuffer& literals) {
  std::array<FseTables::LiteralState, literalStates> table;
  FseTables::buildLiteralStates(table, header.literalFrequencies);
  BitReader bits(payload, header.literalPayloadBytes, header.literalUnusedBits);
  std::uint32_t state0 = header.literalStates[0];
  std::uint32_t state1 = header.literalStates[1];
  std::uint32_t state2 = header.literalStates[2];
  std::uint32_t state3 = header.literalStates[3];
  for (std::size_t i = 0; i < header.literals; i += 4) {
    if (!bits.refill()) return false;
    literals[i] = FseTables::decodeLiteral(table.data(), state0, bits);
    literals[i + 1] = FseTables::decodeLiteral(table.data(), state1, bits);
    literals[i + 2] = FseTables::decodeLiteral(table.data(), state2, bits);
    literals[i + 3] = FseTables::decodeLiteral(table.data(), state3, bits);
  }
  return !bits.overrun();
}

// Decodes the triples and carries them out.
DecodeOutcome decodeTriples(const LzfseBlockHeader& header, const std::uint8_t* payload, const LiteralBuffer& literals,
                            DecodeTarget& target) {
  std::array<FseTables::ValueState, lStates> lTable;
  std::array<FseTables::ValueState, mStates> mTable;
  std::array<FseTables::ValueState, dStates> dTable;
  FseTables::buildValueStates(lTable, header.lFrequencies, lCode.extraBits, lCode.base);
  FseTables::buildValueStates(mTable, header.mFrequencies, mCode.extraBits, mCode.base);
  FseTables::buildValueStates(dTable, header.dFrequencies, dCode.extraBits, dCode.base);

  BitReader bits(payload, header.lmdPayloadBytes, header.lmdUnusedBits);
  std::uint32_t lState = header.lState;
  std::uint32_t mState = header.mState;
  std::uint32_t dState = header.dState;
  const std::uint8_t* literal = literals.data();
  std::size_t literalsLeft = header.literals;
  std::size_t rawLeft = header.rawBytes;
  std::size_t distance = 0;  // of the previous triple; 0 before the first

  for (std::uint32_t i = 0; i < header.matches; ++i) {
    if (!bits.refill()) return DecodeOutcome::malformed;
    const std::size_t l = FseTables::decodeValue(lTable.data(), lState, bits);
    const std::size_t m = FseTables::decodeValue(mTable.data(), mState, bits);
    const std::size_t d = FseTables::decodeValue(dTable.data(), dState, bits);
    distance = d != 0 ? d : distance;
    if (l > literalsLeft || l + m > rawLeft) return DecodeOutcome::malformed;
    const DecodeOutcome outcome = target.appendLiteralsAndMatch(literal, l + Bytes::generousMargin, l, distance, m);
    if (outcome != DecodeOutcome::complete) return outcome;
    literal += l;
    literalsLeft -= l;
    rawLeft -= l + m;
  }
  const bool isUsedUp = rawLeft == 0 && literalsLeft <= maxPadding;
  return isUsedUp && !bits.overrun() ? DecodeOutcome::complete : DecodeOutcome::malformed;
}

}  // namespace

DecodeOutcome decode(std::span<const std::uint8_t> source, DecodeTarget& target, std::size_t& blockBytes) noexcept {
  LzfseBlockHeader header;
  std::size_t headerBytes = 0;
  const bool packed = Bytes::load<std::uint32_t>(source.data()) == packedLzfseMagic;
  const DecodeOutcome headerOutcome =
      packed ? header.readPacked(source, headerBytes) : header.readPlain(source, headerBytes);
  if (headerOutcome != DecodeOutcome::complete) return headerOutcome;
  // The header lies in the source, so the difference is not negative. Sizes are below 2^32, so the sum fits.
  static_assert(sizeof(std::size_t) >= 8);
  const std::size_t payloadBytes = std::size_t{header.literalPayloadBytes} + header.lmdPayloadBytes;
  if (payloadBytes > source.size() - headerBytes) return DecodeOutcome::inputEnded;
  blockBytes = headerBytes + payloadBytes;
  // No use in decoding literals that the triples cannot use.
  if (header.literals > header.rawBytes + maxPadding) return DecodeOutcome::malformed;

  const std::uint8_t* const literalPayload = source.data() + headerBytes;
  LiteralBuffer literals;
  if (!decodeLiterals(header, literalPayload, literals)) return DecodeOutcome::malformed;
  return decodeTriples(header, literalPayload + header.literalPayloadBytes, literals, target);
}

}  // namespace quillbrook::Codec::LzfseDecoder
