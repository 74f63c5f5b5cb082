// SPDX-License-Identifier: MIT
#include "Registration/PackageTraversalPolicy.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "Registration/NameCase.h"

namespace quillbrook::PackageTraversalPolicy {
namespace {

constexpr std::array<std::string_view, 1> traversableExtensions{"xcarchive"};

bool isTraversable(const FilePath& component) {
  return std::ranges::find(traversableExtensions, NameCase::lowercased(component.extension())) !=
         traversableExtensions.end();
}

}  // namespace

bool isInsideTraversablePackage(const FilePath& url) {
  for (FilePath rest = url; !rest.empty() && rest.name() != "/" && rest.bytes() != "."; rest = rest.parent()) {
    if (isTraversable(rest)) return true;
  }
  return false;
}

bool shouldSkipDescendants(const FilePath& url, bool isPackage) {
  return isPackage && !isInsideTraversablePackage(url);
}

}  // namespace quillbrook::PackageTraversalPolicy
