// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>
#include <variant>

#include "Compression/Header/CompressionType.h"

namespace quillbrook {

// Flag set, header valid.
struct Compressed {
  CompressionType algorithm = CompressionType::lzfseRsrc;
  std::uint64_t uncompressedSize = 0;  // bytes, from the header
  friend bool operator==(const Compressed&, const Compressed&) = default;
};
// Flag clear, and the file is eligible for compression.
struct Uncompressed {
  friend bool operator==(const Uncompressed&, const Uncompressed&) = default;
};
// A cloud placeholder: its content is not on this machine.
struct DatalessCloud {
  friend bool operator==(const DatalessCloud&, const DatalessCloud&) = default;
};
// Flag clear, and not eligible: hard-linked, not a regular file, or too small.
struct Incompressible {
  friend bool operator==(const Incompressible&, const Incompressible&) = default;
};

using FileCompressionStatus = std::variant<Compressed, Uncompressed, DatalessCloud, Incompressible>;

// The case's name, as "datalessCloud".
[[nodiscard]] std::string_view caseName(const FileCompressionStatus& status);

}  // namespace quillbrook
