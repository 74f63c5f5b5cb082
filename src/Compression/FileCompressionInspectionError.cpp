// SPDX-License-Identifier: MIT
#include "Compression/FileCompressionInspectionError.h"

namespace quillbrook {

std::string_view caseName(const FileCompressionInspectionError& error) {
  struct {
    std::string_view operator()(const FileNotFound&) const { return "fileNotFound"; }
    std::string_view operator()(const DecmpfsHeaderInvalid&) const { return "decmpfsHeaderInvalid"; }
    std::string_view operator()(const IOError&) const { return "ioError"; }
    std::string_view operator()(const DecmpfsHeaderMissingDespiteFlag&) const {
      return "decmpfsHeaderMissingDespiteFlag";
    }
  } const name;
  return std::visit(name, error);
}

std::string describe(const FileCompressionInspectionError& error) {
  struct {
    std::string operator()(const FileNotFound& e) const { return "(" + e.url.displayText() + ")"; }
    std::string operator()(const DecmpfsHeaderInvalid& e) const { return "(reason: " + e.reason + ")"; }
    std::string operator()(const IOError& e) const { return "(" + e.url.displayText() + ", " + e.detail + ")"; }
    std::string operator()(const DecmpfsHeaderMissingDespiteFlag&) const { return ""; }
  } const payload;
  return std::string(caseName(error)) + std::visit(payload, error);
}

std::string userText(const FileCompressionInspectionError& error) {
  struct {
    std::string operator()(const FileNotFound& e) const { return "ファイルが見つかりません: " + e.url.displayText(); }
    std::string operator()(const DecmpfsHeaderInvalid& e) const { return "decmpfs ヘッダが不正: " + e.reason; }
    std::string operator()(const IOError& e) const {
      return "I/O エラー: " + e.detail + "\nパス: " + e.url.displayText();
    }
    std::string operator()(const DecmpfsHeaderMissingDespiteFlag&) const {
      return "圧縮フラグが立っていますが decmpfs ヘッダが見つかりません。";
    }
  } const text;
  return std::visit(text, error);
}

}  // namespace quillbrook
