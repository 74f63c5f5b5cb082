// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "Corpus.h"
#include "Figures.h"

namespace quillbrook {

// A corpus measured, or several taken together.
struct Result {
  std::string corpus;
  Corpus::Kind kind = Corpus::Kind::Blocks;
  // The figures of every input, for each coder, in the coders' order.
  std::vector<std::vector<Figures>> coders;

  void add(const Result& other) {
    coders.resize(std::max(coders.size(), other.coders.size()));
    for (std::size_t c = 0; c < other.coders.size(); ++c) {
      coders[c].insert(coders[c].end(), other.coders[c].begin(), other.coders[c].end());
    }
  }
};

}  // namespace quillbrook
