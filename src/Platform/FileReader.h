// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Platform/ErrorNumber.h"

namespace quillbrook {

// An open file that is read from its beginning on: its logical bytes, decoded if it is compressed.
// Closed by its destructor.
class FileReader {
 public:
  virtual ~FileReader() = default;
  // Fills a part of `destination` and returns how much; 0 is the end of the file. May return less than was asked for.
  // `stale` if the file was turned into another form since it was opened.
  [[nodiscard]] virtual Result<std::size_t> read(std::span<std::uint8_t> destination) = 0;
};

}  // namespace quillbrook
