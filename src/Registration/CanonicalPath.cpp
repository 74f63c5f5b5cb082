// SPDX-License-Identifier: MIT
#include "Registration/CanonicalPath.h"

#include <filesystem>
#include <string>
#include <utility>

namespace quillbrook {

FilePath canonicalPath(const FilePath& url) {
  std::string path = std::filesystem::path(url.bytes()).lexically_normal().native();
  while (path.size() >= 2 && path.back() == '/') path.pop_back();
  return FilePath(std::move(path));
}

}  // namespace quillbrook
