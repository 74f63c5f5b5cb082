// SPDX-License-Identifier: MIT
#include "Codec/GeneratedContent.h"

#include <algorithm>
#include <iterator>
#include <random>

namespace quillbrook {

ByteVector bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

namespace GeneratedContent {

namespace {

// The generator itself and no distribution over it: what those give differs between standard libraries.
std::size_t below(std::mt19937& generator, std::size_t bound) {
  return generator() % bound;
}

}  // namespace

ByteVector random(std::size_t size, unsigned seed) {
  std::mt19937 generator(seed);
  ByteVector bytes(size);
  std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(below(generator, 256)); });
  return bytes;
}

ByteVector randomOf(unsigned values, std::size_t size) {
  ByteVector bytes = random(size);
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(byte % values);
  return bytes;
}

ByteVector text(std::size_t size, unsigned seed) {
  std::mt19937 generator(seed);
  std::vector<std::string> words(200);
  for (std::string& word : words) {
    word.resize(2 + below(generator, 8));
    std::ranges::generate(word, [&] { return static_cast<char>('a' + below(generator, 26)); });
    word += ' ';
  }
  ByteVector bytes;
  while (bytes.size() < size) {
    // The square of an even choice prefers the first words, as languages do.
    const std::string& word = words[below(generator, 1 + below(generator, words.size()))];
    bytes.insert(bytes.end(), word.begin(), word.end());
  }
  bytes.resize(size);
  return bytes;
}

ByteVector periodic(std::size_t period, std::size_t size) {
  const ByteVector pattern = random(period);
  ByteVector bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = pattern[i % period];
  return bytes;
}

ByteVector manyMatches(std::size_t size) {
  std::mt19937 generator(1);
  const ByteVector vocabulary = random(4 * 64);
  ByteVector bytes;
  while (bytes.size() < size) {
    const auto word = vocabulary.begin() + static_cast<std::ptrdiff_t>(4 * below(generator, 64));
    std::copy_n(word, 4, std::back_inserter(bytes));
    bytes.push_back(static_cast<std::uint8_t>(below(generator, 256)));
  }
  bytes.resize(size);
  return bytes;
}

ByteVector twice(std::size_t size) {
  ByteVector bytes = random(size);
  bytes.resize(2 * size);
  std::copy_n(bytes.begin(), size, bytes.begin() + static_cast<std::ptrdiff_t>(size));
  return bytes;
}

ByteVector alternating(std::size_t stretch, std::size_t size) {
  ByteVector bytes = random(size);
  for (std::size_t i = 0; i < size; ++i) {
    if (i / stretch % 2 == 1) bytes[i] = 0;
  }
  return bytes;
}

}  // namespace GeneratedContent

}  // namespace quillbrook
