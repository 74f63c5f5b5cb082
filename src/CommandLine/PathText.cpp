// SPDX-License-Identifier: MIT
#include "CommandLine/PathText.h"

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>

namespace quillbrook::PathText {
namespace {

struct CodePoint {
  std::uint32_t value;
  std::size_t byteCount;
};

// The character that valid UTF-8 text begins with.
CodePoint firstCodePoint(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint32_t>(static_cast<unsigned char>(text[i])); };
  const auto tail = [&](std::size_t i) { return byte(i) & 0x3FU; };
  if (byte(0) < 0x80) return {byte(0), 1};
  if (byte(0) < 0xE0) return {(byte(0) & 0x1FU) << 6 | tail(1), 2};
  if (byte(0) < 0xF0) return {(byte(0) & 0x0FU) << 12 | tail(1) << 6 | tail(2), 3};
  return {(byte(0) & 0x07U) << 18 | tail(1) << 12 | tail(2) << 6 | tail(3), 4};
}

bool isControl(std::uint32_t c) {
  return c < 0x20 || (c >= 0x7F && c <= 0x9F);
}

// Marks, embeddings, overrides and isolates of the Unicode bidirectional algorithm, line and paragraph separator.
bool turnsDirection(std::uint32_t c) {
  return c == 0x200E || c == 0x200F || (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

std::string spelledOut(std::uint32_t c) {
  if (c == '\n') return "\\n";
  if (c == '\r') return "\\r";
  if (c == '\t') return "\\t";
  return c < 0x80 ? fmt::format("\\x{:02X}", c) : fmt::format("\\u{{{:X}}}", c);
}

enum class Part : std::uint8_t { name, message };

std::string escaped(std::string_view text, Part part) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const auto [value, byteCount] = firstCodePoint(text);
    if (part == Part::name && value == '\\') {
      result += "\\\\";
    } else if ((isControl(value) || turnsDirection(value)) && (part != Part::message || value != '\n')) {
      result += spelledOut(value);
    } else {
      result += text.substr(0, byteCount);
    }
    text.remove_prefix(byteCount);
  }
  return result;
}

}  // namespace

std::string shown(const FilePath& path, bool onTerminal) {
  return onTerminal ? escaped(path.displayText(), Part::name) : path.bytes();
}

std::string shownMessage(std::string_view message, bool onTerminal) {
  // displayText() makes the text valid UTF-8, which the escaping relies on.
  return onTerminal ? escaped(FilePath(std::string(message)).displayText(), Part::message) : std::string(message);
}

}  // namespace quillbrook::PathText
