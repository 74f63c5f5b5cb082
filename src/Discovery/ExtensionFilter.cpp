// SPDX-License-Identifier: MIT
#include "Discovery/ExtensionFilter.h"

#include <utility>

#include "Discovery/ExtensionCategory.h"

namespace quillbrook {

bool ExtensionFilter::passes(std::string_view extension) const {
  return extensions_.contains(extension) == (kind_ == Kind::includeOnly);
}

void ExtensionFilter::add(std::string_view extension) {
  std::string normalized = normalizedExtension(extension);
  if (!normalized.empty()) extensions_.insert(std::move(normalized));
}

}  // namespace quillbrook
