// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Corpora.h"
#include "Goal.h"
#include "Result.h"

// What the benchmark prints: tables for people, or one JSON object a line for programs. Each is printed at once, since
// the next may take a minute.
namespace quillbrook::Report {

struct Style {
  bool json = false;
  std::size_t corpusWidth = 0;  // of the longest name
};

// What will be measured, with what and on what.
void start(const Style& style, const std::vector<Corpora::Source>& sources);
void result(const Style& style, const std::vector<std::string>& coders, const Result& result);
void goals(const Style& style, const std::vector<Goal>& goals);

}  // namespace quillbrook::Report
