// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "Platform/ErrorNumber.h"

namespace quillbrook {

// A file that is being written: a work file's data, or its named fork. Closed by close() or the destructor.
class FileWriter {
 public:
  virtual ~FileWriter() = default;
  // Writes some bytes at the position and returns how many, as write(2): `interrupted` means try again.
  [[nodiscard]] virtual Result<std::size_t> write(std::span<const std::uint8_t> bytes) = 0;
  // Sets the position, counted from the start, and returns the new one.
  [[nodiscard]] virtual Result<std::uint64_t> lseek(std::uint64_t position) = 0;
  // Sets an attribute on the open file.
  [[nodiscard]] virtual Result<void> fsetxattr(std::string_view name, std::span<const std::uint8_t> value) = 0;
  // Closes; whatever was written and could not be kept so far shows here. A second call does nothing.
  [[nodiscard]] virtual Result<void> close() = 0;
};

}  // namespace quillbrook
