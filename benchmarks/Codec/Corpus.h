// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace quillbrook {

// Bytes to measure, cut into the inputs that a coder gets one by one.
struct Corpus {
  enum class Kind : std::uint8_t {
    Blocks,      // one file in blocks: part of the total
    SmallFiles,  // whole small files
    Random,      // what no coder makes smaller
  };

  // What the compressed files on a disk are cut into, and so what a coder gets at most.
  static constexpr std::size_t blockBytes = 65'536;

  std::string name;
  Kind kind = Kind::Blocks;
  std::vector<std::uint8_t> content;
  // The lengths of the inputs, which lie in the content one behind the other, none of them empty or longer than a
  // block.
  std::vector<std::size_t> lengths;
};

}  // namespace quillbrook
