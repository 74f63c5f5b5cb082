// SPDX-License-Identifier: MIT
//
// The stream codec beside zlib, libdeflate and zstd, all in one run, on the same blocks of 64 KiB.
//
//   CodecBenchmark [--json] --corpora FOLDER     the corpora that corpora.sh built there, and the goals
//   CodecBenchmark [--json] FILE…                these files, each a corpus
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "CLI/CLI.hpp"
#include "Coders.h"
#include "Corpora.h"
#include "Goals.h"
#include "Measurement.h"
#include "Report.h"
#include "Result.h"
#include "fmt/core.h"

namespace quillbrook {
namespace {

constexpr int wrongUsage = 2;

// The corpus of which hardly anything gets smaller: it makes all coders look alike in size, and its speeds are those of
// giving up.
constexpr const char* media = "media";

void append(std::vector<Goal>& goals, std::vector<Goal> more) {
  goals.insert(goals.end(), more.begin(), more.end());
}

std::vector<Goal> judge(const std::vector<std::string>& coders, const Result& total, const std::vector<Result>& apart) {
  std::vector<Goal> goals = Goals::ofTotal(coders, total);
  append(goals, Goals::ofStored(total));
  for (const Result& result : apart) {
    append(goals, result.kind == Corpus::Kind::Random ? Goals::ofRandom(result) : Goals::ofSmallFiles(coders, result));
  }
  return goals;
}

void run(const std::vector<Corpora::Source>& sources, bool json) {
  const std::vector<Coder> coders = Coders::make();
  std::vector<std::string> names;
  names.reserve(coders.size());
  for (const Coder& coder : coders) names.push_back(coder.name);

  Result total{"total", Corpus::Kind::Blocks, {}};
  Result compressible{"total without media", Corpus::Kind::Blocks, {}};
  std::vector<Result> apart;
  Report::Style style{json, compressible.corpus.size()};
  for (const Corpora::Source& source : sources) style.corpusWidth = std::max(style.corpusWidth, source.name.size());

  Report::start(style, sources);
  for (const Corpora::Source& source : sources) {
    const Result result = Measurement::measure(Corpora::read(source), coders);
    Report::result(style, names, result);
    if (result.kind != Corpus::Kind::Blocks) {
      apart.push_back(result);
      continue;
    }
    total.add(result);
    if (result.corpus != media) compressible.add(result);
  }
  Report::result(style, names, total);
  Report::goals(style, judge(names, total, apart));
  if (compressible.coders.empty() || compressible.coders.front().size() == total.coders.front().size()) return;
  // Beside the verdict, not instead of it.
  Report::result(style, names, compressible);
  Report::goals(style, Goals::ofTotal(names, compressible));
}

int benchmark(int argc, char** argv) {
  bool json = false;
  std::filesystem::path folder;
  std::vector<std::filesystem::path> files;
  CLI::App app("The stream codec beside its peers");
  app.add_flag("--json", json, "One JSON object a line");
  CLI::Option_group* what = app.add_option_group("What to measure");
  what->add_option("--corpora", folder, "Folder that corpora.sh built");
  what->add_option("FILE", files, "Files, each cut into blocks");
  what->require_option(1);
  std::vector<Corpora::Source> sources;
  try {
    app.parse(argc, argv);
    sources = files.empty() ? Corpora::fromFolder(folder) : Corpora::fromFiles(files);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? EXIT_SUCCESS : wrongUsage;
  } catch (const std::runtime_error& error) {
    fmt::print(stderr, "CodecBenchmark: {}\n", error.what());
    return wrongUsage;
  }
  run(sources, json);
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace quillbrook

int main(int argc, char** argv) {
  try {
    return quillbrook::benchmark(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "CodecBenchmark: %s\n", error.what());
    return EXIT_FAILURE;
  }
}
