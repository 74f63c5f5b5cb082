// SPDX-License-Identifier: MIT
#include "Registration/FolderFileCounterError.h"

namespace quillbrook {

std::string_view caseName(const FolderFileCounterError& error) {
  struct {
    std::string_view operator()(const FolderNotFound&) const { return "notFound"; }
    std::string_view operator()(const NotADirectory&) const { return "notADirectory"; }
    std::string_view operator()(const Cancelled&) const { return "cancelled"; }
  } const name;
  return std::visit(name, error);
}

std::string describe(const FolderFileCounterError& error) {
  struct {
    std::string operator()(const FolderNotFound& e) const { return "(" + e.url.displayText() + ")"; }
    std::string operator()(const NotADirectory& e) const { return "(" + e.url.displayText() + ")"; }
    std::string operator()(const Cancelled&) const { return ""; }
  } const payload;
  return std::string(caseName(error)) + std::visit(payload, error);
}

std::string userText(const FolderFileCounterError& error) {
  struct {
    std::string operator()(const FolderNotFound& e) const { return "フォルダが見つかりません: " + e.url.displayText(); }
    std::string operator()(const NotADirectory& e) const {
      return "フォルダではないか、開くことができません: " + e.url.displayText();
    }
    std::string operator()(const Cancelled&) const { return "キャンセルされました。"; }
  } const text;
  return std::visit(text, error);
}

}  // namespace quillbrook
