// SPDX-License-Identifier: MIT
#include "Goals.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "fmt/core.h"

namespace quillbrook::Goals {
namespace {

using enum Goal::Kind;
using enum Goal::Bound;

// What storing a block may add to it: the header of a stored block and the end marker.
constexpr double storedOverhead = 12;

// Millions of bytes a second in which a block that does not compress has to be given up.
constexpr double givingUpSpeed = 500;

// The longest attribute in which a file's stream can lie instead of in blocks of the disk. The attribute's own header,
// 16 bytes for any coder's stream, is left out of the comparison.
constexpr std::size_t attributeBytes = 3'802;

// Our codec is the first of the coders.
const std::vector<Figures>& ours(const Result& result) {
  return result.coders.front();
}

const std::vector<Figures>& peer(const std::vector<std::string>& coders, const Result& result, std::string_view name) {
  const auto found = std::ranges::find(coders, name);
  if (found == coders.end()) throw std::logic_error(fmt::format("no coder {}", name));
  return result.coders[static_cast<std::size_t>(found - coders.begin())];
}

bool stored(const Figures& figures) {
  return figures.streamBytes >= figures.sourceBytes;
}

double mostAdded(const std::vector<Figures>& all) {
  double most = 0;
  for (const Figures& one : all) {
    most = std::max(most, static_cast<double>(one.streamBytes) - static_cast<double>(one.sourceBytes));
  }
  return most;
}

std::vector<Goal> ofIncompressible(const std::string& corpus, const std::string& what,
                                   const std::vector<Figures>& blocks) {
  return {{corpus, what + "encode MB/s", Hold, sumOf(blocks).encodeSpeed(), AtLeast, givingUpSpeed},
          {corpus, what + "bytes added to a block", Hold, mostAdded(blocks), AtMost, storedOverhead}};
}

double shareInAttribute(const std::vector<Figures>& files) {
  const auto fits = [](const Figures& file) { return file.streamBytes <= attributeBytes; };
  return 100.0 * static_cast<double>(std::ranges::count_if(files, fits)) / static_cast<double>(files.size());
}

}  // namespace

std::vector<Goal> ofTotal(const std::vector<std::string>& coders, const Result& total) {
  const Figures own = sumOf(ours(total));
  const auto of = [&](std::string_view name) { return sumOf(peer(coders, total, name)); };
  const auto size = [&](std::string_view name) { return own.ratio() / of(name).ratio(); };
  const auto encode = [&](std::string_view name) { return own.encodeSpeed() / of(name).encodeSpeed(); };
  // Streams of one library's levels are decoded at different speeds: the fastest of them is the peer.
  const auto decode = [&](std::initializer_list<std::string_view> names) {
    double fastest = 0;
    for (const std::string_view name : names) fastest = std::max(fastest, of(name).decodeSpeed());
    return own.decodeSpeed() / fastest;
  };
  return {{total.corpus, "size / zlib 9", Hold, size("zlib 9"), AtMost, 0.95},
          {total.corpus, "size / zstd 9", Beat, size("zstd 9"), AtMost, 0.97},
          {total.corpus, "size / zstd 19", Beat, size("zstd 19"), Below, 1},
          {total.corpus, "encode speed / zlib 6", Hold, encode("zlib 6"), AtLeast, 1},
          {total.corpus, "encode speed / libdeflate 6", Beat, encode("libdeflate 6"), AtLeast, 1},
          {total.corpus, "decode speed / zlib", Hold, decode({"zlib 6", "zlib 9"}), AtLeast, 2.4},
          {total.corpus, "decode speed / libdeflate", Beat, decode({"libdeflate 6", "libdeflate 12"}), AtLeast, 1},
          {total.corpus, "decode speed / zstd 3", Beat, decode({"zstd 3"}), AtLeast, 1}};
}

std::vector<Goal> ofStored(const Result& total) {
  std::vector<Figures> blocks;
  std::ranges::copy_if(ours(total), std::back_inserter(blocks), stored);
  if (blocks.empty()) return {};
  return ofIncompressible(total.corpus, fmt::format("{} stored: ", blocks.size()), blocks);
}

std::vector<Goal> ofRandom(const Result& random) {
  return ofIncompressible(random.corpus, "", ours(random));
}

std::vector<Goal> ofSmallFiles(const std::vector<std::string>& coders, const Result& small) {
  const double size = sumOf(ours(small)).ratio() / sumOf(peer(coders, small, "zlib 9")).ratio();
  const double within = shareInAttribute(ours(small));
  return {{small.corpus, "size / zlib 9", Hold, size, Below, 1},
          {small.corpus, fmt::format("% of streams up to {} bytes", attributeBytes), Beat, within, AtLeast,
           shareInAttribute(peer(coders, small, "zstd 19"))}};
}

}  // namespace quillbrook::Goals
