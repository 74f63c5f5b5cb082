// SPDX-License-Identifier: MIT
#include "Discovery/FileSystemSearchError.h"

namespace quillbrook {

std::string_view caseName(const FileSystemSearchError& error) {
  struct {
    std::string_view operator()(const RootNotFound&) const { return "rootNotFound"; }
    std::string_view operator()(const RootNotADirectory&) const { return "rootNotADirectory"; }
    std::string_view operator()(const Cancelled&) const { return "cancelled"; }
  } const name;
  return std::visit(name, error);
}

std::string describe(const FileSystemSearchError& error) {
  struct {
    std::string operator()(const RootNotFound& e) const { return "(" + e.url.displayText() + ")"; }
    std::string operator()(const RootNotADirectory& e) const { return "(" + e.url.displayText() + ")"; }
    std::string operator()(const Cancelled&) const { return ""; }
  } const payload;
  return std::string(caseName(error)) + std::visit(payload, error);
}

std::string userText(const FileSystemSearchError& error) {
  struct {
    std::string operator()(const RootNotFound& e) const { return "フォルダが見つかりません: " + e.url.displayText(); }
    std::string operator()(const RootNotADirectory& e) const {
      return "フォルダではないか、開くことができません: " + e.url.displayText();
    }
    std::string operator()(const Cancelled&) const { return "キャンセルされました。"; }
  } const text;
  return std::visit(text, error);
}

}  // namespace quillbrook
