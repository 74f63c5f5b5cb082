// SPDX-License-Identifier: MIT
#include "App/CommandLineVersion.h"

namespace quillbrook {

std::string CommandLineVersion::text(const Dictionary& information) {
  const auto version = information("CFBundleShortVersionString").value_or("0.0.0");
  const auto build = information("CFBundleVersion").value_or("0");
  return "Quillbrook " + std::string(version) + " (build " + std::string(build) + ")\n";
}

}  // namespace quillbrook
