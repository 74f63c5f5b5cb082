// SPDX-License-Identifier: MIT
#include "Platform/FilePath.h"

#include <cstddef>

namespace quillbrook {
namespace {

// The length of the valid UTF-8 sequence that `text` begins with, 0 if it begins with none.
// Shortest forms only, no surrogates, nothing above U+10FFFF (RFC 3629, section 4).
std::size_t sequenceLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const auto continues = [&](std::size_t i, unsigned low = 0x80, unsigned high = 0xBF) {
    return i < text.size() && byte(i) >= low && byte(i) <= high;
  };
  const unsigned first = byte(0);
  if (first < 0x80) return 1;
  if (first >= 0xC2 && first <= 0xDF) return continues(1) ? 2 : 0;
  if (first >= 0xE0 && first <= 0xEF) {
    const unsigned low = first == 0xE0 ? 0xA0 : 0x80;
    const unsigned high = first == 0xED ? 0x9F : 0xBF;
    return continues(1, low, high) && continues(2) ? 3 : 0;
  }
  if (first >= 0xF0 && first <= 0xF4) {
    const unsigned low = first == 0xF0 ? 0x90 : 0x80;
    const unsigned high = first == 0xF4 ? 0x8F : 0xBF;
    return continues(1, low, high) && continues(2) && continues(3) ? 4 : 0;
  }
  return 0;
}

std::string_view withoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  return path;
}

}  // namespace

std::string_view FilePath::name() const {
  const std::string_view path = withoutTrailingSlashes(bytes_);
  if (path == "/") return path;
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

FilePath FilePath::parent() const {
  const std::string_view path = withoutTrailingSlashes(bytes_);
  const std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return FilePath(".");
  if (slash == 0) return FilePath("/");
  return FilePath(std::string(withoutTrailingSlashes(path.substr(0, slash))));
}

FilePath FilePath::appending(std::string_view name) const {
  std::string result = bytes_;
  if (!result.empty() && result.back() != '/') result += '/';
  result += name;
  return FilePath(std::move(result));
}

FilePath FilePath::appendingExtension(std::string_view extension) const {
  std::string result = bytes_;
  result += '.';
  result += extension;
  return FilePath(std::move(result));
}

std::string_view FilePath::extension() const {
  const std::string_view leaf = name();
  const std::size_t dot = leaf.rfind('.');
  return dot == std::string_view::npos || dot == 0 ? std::string_view{} : leaf.substr(dot + 1);
}

bool FilePath::isUtf8() const {
  std::string_view rest = bytes_;
  while (!rest.empty()) {
    const std::size_t length = sequenceLength(rest);
    if (length == 0) return false;
    rest.remove_prefix(length);
  }
  return true;
}

std::string FilePath::displayText() const {
  std::string text;
  text.reserve(bytes_.size());
  std::string_view rest = bytes_;
  while (!rest.empty()) {
    const std::size_t length = sequenceLength(rest);
    text += length == 0 ? std::string_view("\xEF\xBF\xBD") : rest.substr(0, length);
    rest.remove_prefix(length == 0 ? 1 : length);
  }
  return text;
}

}  // namespace quillbrook
