// SPDX-License-Identifier: MIT
#include "Compression/FileCompressionStatus.h"

namespace quillbrook {

std::string_view caseName(const FileCompressionStatus& status) {
  struct {
    std::string_view operator()(const Compressed&) const { return "compressed"; }
    std::string_view operator()(const Uncompressed&) const { return "uncompressed"; }
    std::string_view operator()(const DatalessCloud&) const { return "datalessCloud"; }
    std::string_view operator()(const Incompressible&) const { return "incompressible"; }
  } const name;
  return std::visit(name, status);
}

}  // namespace quillbrook
