// SPDX-License-Identifier: MIT
#include "Platform/StandardFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <string_view>

namespace quillbrook::StandardFolders {
namespace {

constexpr std::string_view ownName = "Quillbrook";

// The rules have relative paths ignored.
std::optional<FilePath> fromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value != '/') return std::nullopt;
  return FilePath(value);
}

FilePath inHome(const char* variable, std::string_view otherwise) {
  auto told = fromEnvironment(variable);
  return told ? *std::move(told) : home().appending(otherwise);
}

}  // namespace

FilePath home() {
  if (auto told = fromEnvironment("HOME")) return *std::move(told);
  std::array<char, 16'384> strings;
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, strings.data(), strings.size(), &found) != 0 || found == nullptr) {
    return FilePath("/");
  }
  return FilePath(entry.pw_dir);
}

FilePath data() {
  return inHome("XDG_DATA_HOME", ".local/share");
}

FilePath configuration() {
  return inHome("XDG_CONFIG_HOME", ".config");
}

FilePath state() {
  return inHome("XDG_STATE_HOME", ".local/state");
}

std::optional<FilePath> runtime() {
  return fromEnvironment("XDG_RUNTIME_DIR");
}

FilePath applicationSupport() {
  return data().appending(ownName);
}

}  // namespace quillbrook::StandardFolders
