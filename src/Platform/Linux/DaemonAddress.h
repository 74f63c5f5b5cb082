// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// Where a mounted volume's daemon has its source folder open: VolumeProtocol::sourceAttribute. Any thread.
struct DaemonAddress {
  std::int32_t process = 0;
  FilePath source;  // "/proc/<process>/fd/<n>"

  friend bool operator==(const DaemonAddress&, const DaemonAddress&) = default;

  // Nothing for what has not that shape: an attribute must not lead anywhere but into a process's hand.
  [[nodiscard]] static std::optional<DaemonAddress> parse(std::string_view attribute);

  // Asks the volume that is mounted there. `attributeMissing` from other file systems, `invalid` for an answer of
  // another shape, else as of getxattr(2).
  [[nodiscard]] static Result<DaemonAddress> ask(const FilePath& mountPoint);

  // Whether ask() failed because nobody serves the mount any more.
  [[nodiscard]] static bool hasDied(ErrorNumber reason);
};

}  // namespace quillbrook
