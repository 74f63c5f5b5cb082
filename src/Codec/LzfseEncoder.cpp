// SPDX-License-Identifier: MIT
#include "Codec/LzfseEncoder.h"

#include <cstring>

#include "Codec/BitWriter.h"
#include "Codec/FseTables.h"
#include "Codec/LzfseBlockHeader.h"

namespace quillbrook::Codec::LzfseEncoder {

namespace {

using namespace LzfseFormat;

static_assert(4 * maxLiteralBits <= BitWriter::bitsPerFlush, "one flush for four literals");
static_assert(maxTripleBits <= BitWriter::bitsPerFlush, "one flush for a triple");

// Fills `literals` and returns their number with the padding.
std::size_t gatherLiterals(const Block& block, const std::uint8_t* sourceEnd, LiteralBuffer& literals) {
  const std::uint8_t* from = block.raw().data();
  std::uint8_t* to = literals.data();
  for (const Triple& triple : block.triples()) {
    if (static_cast<std::size_t>(sourceEnd - from) >= triple.l + Bytes::generousMargin) {
      Bytes::copyGenerously(to, from, triple.l);
    } else {
      std::memcpy(to, from, triple.l);
    }
    to += triple.l;
    from += triple.l + triple.m;
  }
  while ((to - literals.data()) % 4 != 0) *to++ = 0;
  return static_cast<std::size_t>(to - literals.data());
}

void chooseLiteralFrequencies(std::span<const std::uint8_t> literals, LzfseBlockHeader& header) {
  // Four histograms, since counting a byte again right after itself would have to wait for the first count.
  std::array<std::array<std::uint32_t, literalSymbols>, 4> counts{};
  for (std::size_t i = 0; i < literals.size(); i += 4) {
    for (std::size_t lane = 0; lane < 4; ++lane) ++counts[lane][literals[i + lane]];
  }
  for (std::size_t s = 0; s < literalSymbols; ++s) counts[0][s] += counts[1][s] + counts[2][s] + counts[3][s];
  FseTables::normalise(counts[0], LzfseFormat::literalStates, header.literalFrequencies);
}

void chooseValueFrequencies(std::span<const Triple> triples, LzfseBlockHeader& header) {
  std::array<std::uint32_t, lSymbols> l{};
  std::array<std::uint32_t, mSymbols> m{};
  std::array<std::uint32_t, dSymbols> d{};
  for (const Triple& triple : triples) {
    ++l[lSymbolOf[triple.l]];
    ++m[mSymbolOf[triple.m]];
    ++d[dSymbolOf(triple.d)];
  }
  FseTables::normalise(l, lStates, header.lFrequencies);
  FseTables::normalise(m, mStates, header.mFrequencies);
  FseTables::normalise(d, dStates, header.dFrequencies);
}

BitWriter::Result encodeLiterals(std::span<std::uint8_t> destination, std::span<const std::uint8_t> literals,
                                 LzfseBlockHeader& header) {
  std::array<FseTables::SymbolStep, literalSymbols> steps;
  FseTables::buildSymbolSteps(steps, header.literalFrequencies, LzfseFormat::literalStates);
  BitWriter bits(destination);
  constexpr std::uint32_t firstState = LzfseFormat::literalStates;
  std::uint32_t x0 = firstState;
  std::uint32_t x1 = firstState;
  std::uint32_t x2 = firstState;
  std::uint32_t x3 = firstState;
  for (std::size_t i = literals.size(); i != 0; i -= 4) {
    FseTables::encodeSymbol(steps[literals[i - 1]], x3, bits);
    FseTables::encodeSymbol(steps[literals[i - 2]], x2, bits);
    FseTables::encodeSymbol(steps[literals[i - 3]], x1, bits);
    FseTables::encodeSymbol(steps[literals[i - 4]], x0, bits);
    bits.flush();
  }
  const BitWriter::Result result = bits.finish();
  header.literals = static_cast<std::uint32_t>(literals.size());
  header.literalPayloadBytes = static_cast<std::uint32_t>(result.bytes);
  header.literalUnusedBits = result.unusedBits;
  header.literalStates = {static_cast<std::uint16_t>(x0 - firstState), static_cast<std::uint16_t>(x1 - firstState),
                          static_cast<std::uint16_t>(x2 - firstState), static_cast<std::uint16_t>(x3 - firstState)};
  return result;
}

BitWriter::Result encodeTriples(std::span<std::uint8_t> destination, std::span<const Triple> triples,
                                LzfseBlockHeader& header) {
  if (destination.size() < lmdLeadingBytes) return {false, 0, 0};
  std::memset(destination.data(), 0, lmdLeadingBytes);

  std::array<FseTables::ValueStep, lSymbols> lSteps;
  std::array<FseTables::ValueStep, mSymbols> mSteps;
  std::array<FseTables::ValueStep, dSymbols> dSteps;
  FseTables::buildValueSteps(lSteps, header.lFrequencies, lStates, lCode.extraBits, lCode.base);
  FseTables::buildValueSteps(mSteps, header.mFrequencies, mStates, mCode.extraBits, mCode.base);
  FseTables::buildValueSteps(dSteps, header.dFrequencies, dStates, dCode.extraBits, dCode.base);

  BitWriter bits(destination.subspan(lmdLeadingBytes));
  std::uint32_t lx = lStates;
  std::uint32_t mx = mStates;
  std::uint32_t dx = dStates;
  for (std::size_t i = triples.size(); i-- != 0;) {
    const Triple& triple = triples[i];
    FseTables::encodeValue(dSteps[dSymbolOf(triple.d)], triple.d, dx, bits);
    FseTables::encodeValue(mSteps[mSymbolOf[triple.m]], triple.m, mx, bits);
    FseTables::encodeValue(lSteps[lSymbolOf[triple.l]], triple.l, lx, bits);
    bits.flush();
  }
  BitWriter::Result result = bits.finish();
  result.bytes += lmdLeadingBytes;
  header.matches = static_cast<std::uint32_t>(triples.size());
  header.lmdPayloadBytes = static_cast<std::uint32_t>(result.bytes);
  header.lmdUnusedBits = result.unusedBits;
  header.lState = static_cast<std::uint16_t>(lx - lStates);
  header.mState = static_cast<std::uint16_t>(mx - mStates);
  header.dState = static_cast<std::uint16_t>(dx - dStates);
  return result;
}

}  // namespace

std::size_t encode(std::span<std::uint8_t> destination, const Block& block, const std::uint8_t* sourceEnd,
                   LiteralBuffer& literals) noexcept {
  LzfseBlockHeader header;
  header.rawBytes = static_cast<std::uint32_t>(block.raw().size());
  const std::span<const std::uint8_t> coded(literals.data(), gatherLiterals(block, sourceEnd, literals));
  chooseLiteralFrequencies(coded, header);
  chooseValueFrequencies(block.triples(), header);

  // The frequencies decide the header's length, the payloads its other fields: so the payloads are written first.
  const std::size_t headerBytes = header.packedBytes();
  if (headerBytes > destination.size()) return 0;
  std::size_t blockBytes = headerBytes;
  BitWriter::Result written = encodeLiterals(destination.subspan(blockBytes), coded, header);
  if (!written.fits) return 0;
  blockBytes += written.bytes;
  written = encodeTriples(destination.subspan(blockBytes), block.triples(), header);
  if (!written.fits) return 0;
  blockBytes += written.bytes;
  header.writePacked(destination.data());
  return blockBytes;
}

}  // namespace quillbrook::Codec::LzfseEncoder
