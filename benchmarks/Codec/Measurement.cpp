// SPDX-License-Identifier: MIT
#include "Measurement.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>
#include <stdexcept>

#include "../Stopwatch.h"
#include "fmt/core.h"

namespace quillbrook::Measurement {
namespace {

using Bytes = std::span<const std::uint8_t>;
using Room = std::span<std::uint8_t>;

// Inputs that one coder gets in a row before it is the next one's turn. More would let a change in the machine's speed
// touch one coder alone, fewer would charge each coder for what the others left in the caches.
constexpr std::size_t batchInputs = 32;

// Times each input is decoded, the fastest of which counts. Decoding is quick, and so is disturbed easily.
constexpr int decodeRounds = 5;

// Room for any peer's stream of a block that it cannot make smaller.
constexpr std::size_t streamRoom = Corpus::blockBytes + Corpus::blockBytes / 8;

// What the room for the restored bytes holds before each decoding, lest an earlier coder's bytes pass for this one's.
constexpr std::uint8_t nothing = 0xA5;

// Some inputs, and what the coders make of them.
struct Batch {
  std::vector<Bytes> inputs;
  std::vector<std::vector<std::uint8_t>> streams;  // of each coder
  std::vector<std::uint8_t> restored;

  explicit Batch(std::size_t coders)
      : streams(coders, std::vector<std::uint8_t>(batchInputs * streamRoom)),
        restored(batchInputs * Corpus::blockBytes) {}

  [[nodiscard]] Room stream(std::size_t coder, std::size_t i) {
    return Room(streams[coder]).subspan(i * streamRoom, streamRoom);
  }
  [[nodiscard]] Room target(std::size_t i) { return Room(restored).subspan(i * Corpus::blockBytes, inputs[i].size()); }
};

int mostEncodeRounds(const std::vector<Coder>& coders) {
  return std::ranges::max(coders, {}, &Coder::encodeRounds).encodeRounds;
}

[[noreturn]] void fail(const Coder& coder, const char* what) {
  throw std::runtime_error(fmt::format("{} {}", coder.name, what));
}

// `figures` are those of the batch's inputs, from its first on.
void encode(const Coder& coder, std::size_t index, Batch& batch, Figures* figures) {
  for (std::size_t i = 0; i < batch.inputs.size(); ++i) {
    const Stopwatch watch;
    const std::size_t written = coder.encode(batch.stream(index, i), batch.inputs[i]);
    figures[i].encodeSeconds = std::min(figures[i].encodeSeconds, watch.seconds());
    if (written == 0) fail(coder, "could not encode a block");
    figures[i].streamBytes = written;
  }
}

void decode(const Coder& coder, std::size_t index, Batch& batch, Figures* figures) {
  std::ranges::fill(batch.restored, nothing);
  for (std::size_t i = 0; i < batch.inputs.size(); ++i) {
    const Bytes stream = batch.stream(index, i).first(figures[i].streamBytes);
    const Stopwatch watch;
    const std::size_t written = coder.decode(batch.target(i), stream);
    figures[i].decodeSeconds = std::min(figures[i].decodeSeconds, watch.seconds());
    if (written != batch.inputs[i].size() || !std::ranges::equal(batch.target(i), batch.inputs[i])) {
      fail(coder, "did not give a block back");
    }
  }
}

void measureBatch(Batch& batch, const std::vector<Coder>& coders, std::size_t first, Result& result) {
  for (int round = 0; round < mostEncodeRounds(coders); ++round) {
    for (std::size_t c = 0; c < coders.size(); ++c) {
      if (round < coders[c].encodeRounds) encode(coders[c], c, batch, &result.coders[c][first]);
    }
  }
  for (int round = 0; round < decodeRounds; ++round) {
    for (std::size_t c = 0; c < coders.size(); ++c) decode(coders[c], c, batch, &result.coders[c][first]);
  }
}

}  // namespace

Result measure(const Corpus& corpus, const std::vector<Coder>& coders) {
  constexpr double never = std::numeric_limits<double>::infinity();
  std::vector<Figures> figures;
  figures.reserve(corpus.lengths.size());
  for (const std::size_t length : corpus.lengths) figures.push_back({length, 0, never, never});
  Result result{corpus.name, corpus.kind, std::vector(coders.size(), figures)};

  Batch batch(coders.size());
  Bytes rest = corpus.content;
  for (std::size_t i = 0; i < corpus.lengths.size(); ++i) {
    batch.inputs.push_back(rest.first(corpus.lengths[i]));
    rest = rest.subspan(corpus.lengths[i]);
    if (batch.inputs.size() < batchInputs && !rest.empty()) continue;
    measureBatch(batch, coders, i + 1 - batch.inputs.size(), result);
    batch.inputs.clear();
  }
  return result;
}

}  // namespace quillbrook::Measurement
