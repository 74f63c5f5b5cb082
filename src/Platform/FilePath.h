// SPDX-License-Identifier: MIT
#pragma once

#include <compare>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace quillbrook {

// A location in the file system. Names are bytes and need not be valid UTF-8; they pass through unharmed and become
// text only by displayText(). A plain value, the size of a string.
class FilePath {
 public:
  FilePath() = default;
  explicit FilePath(std::string bytes) : bytes_(std::move(bytes)) {}

  [[nodiscard]] const std::string& bytes() const { return bytes_; }
  [[nodiscard]] const char* c_str() const { return bytes_.c_str(); }
  [[nodiscard]] bool empty() const { return bytes_.empty(); }

  // The part behind the last "/", trailing ones aside: "c" of "/a/b/c/". "/" for the root.
  [[nodiscard]] std::string_view name() const;
  // What name() lies in: "/a/b" of "/a/b/c", "." of "c", "/" of "/c" and of "/".
  [[nodiscard]] FilePath parent() const;
  // This folder's entry of that name.
  [[nodiscard]] FilePath appending(std::string_view name) const;
  // "report.pdf" with "slimtmp" is "report.pdf.slimtmp".
  [[nodiscard]] FilePath appendingExtension(std::string_view extension) const;
  // What stands behind the last "." of the name, without it; empty for "a", ".profile" and "a.".
  [[nodiscard]] std::string_view extension() const;

  [[nodiscard]] bool isUtf8() const;
  // For people and JSON: every byte that is not part of valid UTF-8 becomes U+FFFD. Control characters stay.
  [[nodiscard]] std::string displayText() const;

  friend auto operator<=>(const FilePath&, const FilePath&) = default;

 private:
  std::string bytes_;
};

}  // namespace quillbrook

template <>
struct std::hash<quillbrook::FilePath> {
  std::size_t operator()(const quillbrook::FilePath& path) const noexcept {
    return std::hash<std::string>{}(path.bytes());
  }
};
