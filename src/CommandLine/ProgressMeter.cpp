// SPDX-License-Identifier: MIT
#include "CommandLine/ProgressMeter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "CommandLine/SizeText.h"

namespace quillbrook {
namespace {

std::string clockText(std::chrono::seconds time) {
  const auto hours = time / std::chrono::hours(1);
  const auto minutes = time / std::chrono::minutes(1) % 60;
  const auto seconds = time.count() % 60;
  return hours > 0 ? fmt::format("{}:{:02}:{:02}", hours, minutes, seconds) : fmt::format("{}:{:02}", minutes, seconds);
}

}  // namespace

void ProgressMeter::add(SteadyTime time, const ProgressPosition& position) {
  position_ = {std::clamp<std::int64_t>(position.done, 0, std::max<std::int64_t>(position.total, 0)),
               std::max<std::int64_t>(position.total, 0)};
  samples_.push_back({time, position_.done});
  // The newest sample that is older than the window stays: it is where the window begins.
  while (samples_.size() > 2 && time - samples_[1].time >= window) samples_.pop_front();
}

std::optional<double> ProgressMeter::rate() const {
  if (samples_.empty()) return std::nullopt;
  const std::chrono::duration<double> time = samples_.back().time - samples_.front().time;
  if (time < std::chrono::seconds(1)) return std::nullopt;
  return std::max(0.0, static_cast<double>(samples_.back().done - samples_.front().done) / time.count());
}

std::optional<std::chrono::seconds> ProgressMeter::remaining() const {
  static constexpr double longest = 1e6;  // more is no forecast but a standstill
  const auto bytesPerSecond = rate();
  if (!bytesPerSecond || *bytesPerSecond <= 0) return std::nullopt;
  const double seconds = std::ceil(static_cast<double>(position_.total - position_.done) / *bytesPerSecond);
  if (seconds > longest) return std::nullopt;
  return std::chrono::seconds(static_cast<std::int64_t>(seconds));
}

std::string ProgressMeter::line(unsigned width) const {
  // Done, not "0 of 0": a run that has nothing left to do is complete.
  const double share =
      position_.total == 0 ? 1.0 : static_cast<double>(position_.done) / static_cast<double>(position_.total);
  std::string words = fmt::format(" {:3}%  {} of {}", static_cast<int>(share * 100), SizeText::text(position_.done),
                                  SizeText::text(position_.total));
  if (const auto bytesPerSecond = rate()) {
    words += fmt::format("  {}/s", SizeText::text(static_cast<std::int64_t>(*bytesPerSecond)));
  }
  if (const auto time = remaining()) words += fmt::format("  {} left", clockText(*time));

  const std::size_t columns = width > 0 ? width - 1 : 0;  // a full last column would wrap on some terminals
  static constexpr std::size_t frame = 2;
  static constexpr std::size_t shortestBar = 5;
  static constexpr std::size_t longestBar = 40;
  if (columns < words.size() + frame + shortestBar) return words.substr(0, columns);
  const std::size_t bar = std::min(longestBar, columns - words.size() - frame);
  const auto filled = static_cast<std::size_t>(share * static_cast<double>(bar));
  return fmt::format("[{}{}]{}", std::string(filled, '#'), std::string(bar - filled, '-'), words);
}

}  // namespace quillbrook
