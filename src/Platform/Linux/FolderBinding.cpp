// SPDX-License-Identifier: MIT
#include "Platform/Linux/FolderBinding.h"

#include <unordered_map>

namespace quillbrook {
namespace {

std::unordered_map<FilePath, VolumePath>& bindings() {
  thread_local std::unordered_map<FilePath, VolumePath> ofThisThread;
  return ofThisThread;
}

}  // namespace

FolderBinding::FolderBinding(const VolumePath& place)
    : folder_(place.parent), isFirst_(bindings().emplace(place.parent, place).second) {}

FolderBinding::~FolderBinding() {
  if (isFirst_) bindings().erase(folder_);
}

std::optional<VolumePath> FolderBinding::find(const FilePath& folder, std::string_view name) {
  const auto found = bindings().find(folder);
  if (found == bindings().end()) return std::nullopt;
  VolumePath place = found->second;
  place.name = name;
  return place;
}

}  // namespace quillbrook
