// SPDX-License-Identifier: MIT
#include "Report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>

#include "Coders.h"
#include "fmt/core.h"
#include "nlohmann/json.hpp"

namespace quillbrook::Report {
namespace {

using Json = nlohmann::ordered_json;

void line(const std::string& text) {
  fmt::print("{}\n", text);
  std::fflush(stdout);
}

// File names need not be UTF-8.
void object(const Json& json) {
  line(json.dump(-1, ' ', false, Json::error_handler_t::replace));
}

std::string processor() {
  std::ifstream facts("/proc/cpuinfo");
  for (std::string fact; std::getline(facts, fact);) {
    if (fact.starts_with("model name")) return fact.substr(std::min(fact.find(": ") + 2, fact.size()));
  }
  return "unknown";
}

const char* nameOf(Goal::Kind kind) {
  return kind == Goal::Kind::Hold ? "hold" : "beat";
}

const char* nameOf(Goal::Bound bound) {
  switch (bound) {
    case Goal::Bound::AtMost: return "at most";
    case Goal::Bound::Below: return "below";
    case Goal::Bound::AtLeast: return "at least";
  }
  return "";
}

std::string verdict(const Goal& goal) {
  return goal.met() ? fmt::format("met ({:.1f} % to spare)", goal.margin())
                    : fmt::format("missed by {:.1f} %", -goal.margin());
}

std::uintmax_t bytesOf(const std::vector<Corpora::Source>& sources, Corpus::Kind kind) {
  std::uintmax_t bytes = 0;
  for (const Corpora::Source& source : sources) bytes += source.kind == kind ? source.bytes : 0;
  return bytes;
}

}  // namespace

void start(const Style& style, const std::vector<Corpora::Source>& sources) {
  const std::uintmax_t blocks = bytesOf(sources, Corpus::Kind::Blocks);
  const std::uintmax_t small = bytesOf(sources, Corpus::Kind::SmallFiles);
  const std::uintmax_t random = bytesOf(sources, Corpus::Kind::Random);
  if (style.json) {
    object(Json{{"bytes", blocks},
                {"smallFileBytes", small},
                {"randomBytes", random},
                {"blockBytes", Corpus::blockBytes},
                {"threads", 1},
                {"peers", Coders::peerVersions()},
                {"processor", processor()}});
    return;
  }
  const auto also = [](std::uintmax_t bytes, const char* what) {
    return bytes == 0 ? std::string() : fmt::format(", {} bytes {}", bytes, what);
  };
  line(fmt::format("{} bytes in blocks of {}{}{}", blocks, Corpus::blockBytes, also(small, "in small files"),
                   also(random, "of random blocks")));
  line(fmt::format("{}; {}, one thread", Coders::peerVersions(), processor()));
  line("size: bytes of all streams; ratio: size / bytes before; MB: a million of the bytes before");
}

void result(const Style& style, const std::vector<std::string>& coders, const Result& result) {
  if (!style.json) {
    line(fmt::format("\n{:<{}}  {:<13}  {:>10}  {:>6}  {:>11}  {:>11}", "corpus", style.corpusWidth, "coder", "size",
                     "ratio", "encode MB/s", "decode MB/s"));
  }
  for (std::size_t c = 0; c < coders.size(); ++c) {
    const Figures sum = sumOf(result.coders[c]);
    if (style.json) {
      object(Json{{"corpus", result.corpus},
                  {"coder", coders[c]},
                  {"size", sum.streamBytes},
                  {"ratio", sum.ratio()},
                  {"encodeMBps", sum.encodeSpeed()},
                  {"decodeMBps", sum.decodeSpeed()}});
    } else {
      line(fmt::format("{:<{}}  {:<13}  {:>10}  {:>6.4f}  {:>11.1f}  {:>11.1f}", result.corpus, style.corpusWidth,
                       coders[c], sum.streamBytes, sum.ratio(), sum.encodeSpeed(), sum.decodeSpeed()));
    }
  }
}

void goals(const Style& style, const std::vector<Goal>& goals) {
  if (!style.json) {
    line(fmt::format("\n{:<{}}  {:<34}  {:<4}  {:>8}  {:>17}", "goal on", style.corpusWidth, "measured", "kind",
                     "value", "limit"));
  }
  for (const Goal& goal : goals) {
    if (style.json) {
      object(Json{{"goal", goal.what},
                  {"corpus", goal.corpus},
                  {"kind", nameOf(goal.kind)},
                  {"value", goal.value},
                  {"bound", nameOf(goal.bound)},
                  {"limit", goal.limit},
                  {"met", goal.met()},
                  {"marginPercent", goal.margin()}});
    } else {
      line(fmt::format("{:<{}}  {:<34}  {:<4}  {:>8.5g}  {:>8} {:>8.5g}  {}", goal.corpus, style.corpusWidth, goal.what,
                       nameOf(goal.kind), goal.value, nameOf(goal.bound), goal.limit, verdict(goal)));
    }
  }
}

}  // namespace quillbrook::Report
