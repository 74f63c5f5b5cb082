// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "Corpus.h"

// Where corpora come from. Everything throws std::runtime_error, with a sentence, for what cannot be measured.
namespace quillbrook::Corpora {

// A corpus that is known to be there; it is read when its turn comes, since all of them together are large.
struct Source {
  std::string name;
  Corpus::Kind kind = Corpus::Kind::Blocks;
  std::filesystem::path path;
  std::uintmax_t bytes = 0;
};

// Each file a corpus of the name that it is given by.
std::vector<Source> fromFiles(const std::vector<std::filesystem::path>& files);

// What corpora.sh built: the files of the folder in the order of their names, its folder `small`, and random bytes.
std::vector<Source> fromFolder(const std::filesystem::path& folder);

Corpus read(const Source& source);

}  // namespace quillbrook::Corpora
