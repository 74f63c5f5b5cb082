// SPDX-License-Identifier: MIT
#include "Volume/Administration/FolderPath.h"

#include <cerrno>
#include <cstdlib>
#include <memory>

namespace quillbrook {
namespace {

Result<FilePath> realPath(const FilePath& path) {
  struct Free {
    void operator()(char* text) const { std::free(text); }
  };
  const std::unique_ptr<char, Free> real(::realpath(path.c_str(), nullptr));
  if (!real) return std::unexpected(ErrorNumber{errno});
  return FilePath(real.get());
}

}  // namespace

Result<FilePath> FolderPath::resolve(const FilePath& folder) {
  const auto real = realPath(folder);
  if (real || folder.name() == "." || folder.name() == "..") return real;
  const auto parent = realPath(folder.parent());
  if (!parent) return std::unexpected(real.error());
  return parent->appending(folder.name());
}

bool FolderPath::contains(const FilePath& folder, const FilePath& path) {
  const std::string& outer = folder.bytes();
  const std::string& inner = path.bytes();
  if (!inner.starts_with(outer)) return false;
  return outer.ends_with('/') || inner.size() == outer.size() || inner[outer.size()] == '/';
}

}  // namespace quillbrook
