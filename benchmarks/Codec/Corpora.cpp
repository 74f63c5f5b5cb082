// SPDX-License-Identifier: MIT
#include "Corpora.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace quillbrook::Corpora {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

// Enough for steady figures of what every coder gives up on.
constexpr std::size_t randomBytes = 64 * Corpus::blockBytes;

Bytes contentsOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  Bytes content(fs::file_size(path));
  file.read(reinterpret_cast<char*>(content.data()), static_cast<std::streamsize>(content.size()));
  if (!file) throw std::runtime_error(path.string() + " cannot be read to its end");
  return content;
}

// The length of a file that can be measured.
std::uintmax_t checked(const fs::path& path) {
  const fs::file_status status = fs::status(path);
  if (!fs::exists(status)) throw std::runtime_error(path.string() + " does not exist");
  if (!fs::is_regular_file(status)) throw std::runtime_error(path.string() + " is not a regular file");
  if (!std::ifstream(path, std::ios::binary)) throw std::runtime_error(path.string() + " cannot be read");
  const std::uintmax_t bytes = fs::file_size(path);
  if (bytes == 0) throw std::runtime_error(path.string() + " is empty");
  return bytes;
}

std::vector<fs::path> filesIn(const fs::path& folder) {
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

void addInput(Corpus& corpus, const Bytes& bytes) {
  corpus.content.insert(corpus.content.end(), bytes.begin(), bytes.end());
  corpus.lengths.push_back(bytes.size());
}

void cutIntoBlocks(Corpus& corpus, Bytes content) {
  for (std::size_t at = 0; at < content.size(); at += Corpus::blockBytes) {
    corpus.lengths.push_back(std::min(Corpus::blockBytes, content.size() - at));
  }
  corpus.content = std::move(content);
}

// The same in every run.
Bytes random() {
  std::mt19937_64 generator(1);
  Bytes content(randomBytes);
  std::ranges::generate(content, [&] { return static_cast<std::uint8_t>(generator()); });
  return content;
}

}  // namespace

std::vector<Source> fromFiles(const std::vector<fs::path>& files) {
  std::vector<Source> sources;
  sources.reserve(files.size());
  for (const fs::path& file : files) sources.push_back({file.string(), Corpus::Kind::Blocks, file, checked(file)});
  return sources;
}

std::vector<Source> fromFolder(const fs::path& folder) {
  std::vector<Source> sources = fromFiles(filesIn(folder));
  for (Source& source : sources) source.name = source.path.filename().string();
  Source small{"small", Corpus::Kind::SmallFiles, folder / "small", 0};
  for (const fs::path& file : filesIn(small.path)) {
    const std::uintmax_t bytes = checked(file);
    if (bytes > Corpus::blockBytes) throw std::runtime_error(file.string() + " is longer than a block");
    small.bytes += bytes;
  }
  sources.push_back(small);
  sources.push_back({"random", Corpus::Kind::Random, {}, randomBytes});
  return sources;
}

Corpus read(const Source& source) {
  Corpus corpus{.name = source.name, .kind = source.kind, .content = {}, .lengths = {}};
  switch (source.kind) {
    case Corpus::Kind::Blocks: cutIntoBlocks(corpus, contentsOf(source.path)); break;
    case Corpus::Kind::Random: cutIntoBlocks(corpus, random()); break;
    case Corpus::Kind::SmallFiles:
      for (const fs::path& file : filesIn(source.path)) addInput(corpus, contentsOf(file));
      break;
  }
  return corpus;
}

}  // namespace quillbrook::Corpora
