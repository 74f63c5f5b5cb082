// SPDX-License-Identifier: MIT
#include "Discovery/FolderExpectation.h"

#include <cmath>
#include <cstddef>
#include <numeric>

namespace quillbrook {
namespace {

std::uint64_t weightedSum(const StarsHistogram& histogram) {
  std::uint64_t sum = 0;
  for (std::size_t stars = 0; stars < histogram.size(); ++stars) sum += stars * histogram[stars];
  return sum;
}

std::string tooltipOf(const StarsHistogram& histogram) {
  std::string text = "配下ファイルの期待度（加重平均）";
  for (int stars = maximumStars; stars >= 0; --stars) {
    const std::uint64_t files = histogram[static_cast<std::size_t>(stars)];
    if (files > 0) text += "\n" + starString(stars) + ": " + std::to_string(files) + " 件";
  }
  return text;
}

}  // namespace

std::optional<FolderExpectation> FolderExpectation::of(const StarsHistogram& histogram) {
  const std::uint64_t total = std::accumulate(histogram.begin(), histogram.end(), std::uint64_t{0});
  if (total == 0) return std::nullopt;
  const double mean = static_cast<double>(weightedSum(histogram)) / static_cast<double>(total);
  return FolderExpectation{.stars = static_cast<int>(std::round(mean)), .tooltip = tooltipOf(histogram)};
}

}  // namespace quillbrook
