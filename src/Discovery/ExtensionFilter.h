// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <ranges>
#include <set>
#include <string>
#include <string_view>

namespace quillbrook {

// Which extensions pass. Those given are normalised; what is empty then (or only dots) is dropped.
class ExtensionFilter {
 public:
  template <std::ranges::input_range Strings>
  [[nodiscard]] static ExtensionFilter includeOnly(const Strings& extensions) {
    return {Kind::includeOnly, extensions};
  }
  template <std::ranges::input_range Strings>
  [[nodiscard]] static ExtensionFilter exclude(const Strings& extensions) {
    return {Kind::exclude, extensions};
  }

  // `extension` in lower case. A file without one fails `includeOnly` and passes `exclude`: no filter holds the empty
  // extension.
  [[nodiscard]] bool passes(std::string_view extension) const;

  friend bool operator==(const ExtensionFilter&, const ExtensionFilter&) = default;

 private:
  enum class Kind : std::uint8_t { includeOnly, exclude };

  template <std::ranges::input_range Strings>
  ExtensionFilter(Kind kind, const Strings& extensions) : kind_(kind) {
    for (const std::string_view extension : extensions) add(extension);
  }
  void add(std::string_view extension);

  Kind kind_;
  std::set<std::string, std::less<>> extensions_;
};

}  // namespace quillbrook
