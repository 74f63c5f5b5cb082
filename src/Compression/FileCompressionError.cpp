// SPDX-License-Identifier: MIT
#include "Compression/FileCompressionError.h"

namespace quillbrook {

IOError IOError::numbered(const FilePath& url, std::string_view call, ErrorNumber error) {
  return {url, std::string(call) + ": errno=" + std::to_string(error.value), FailedCall{std::string(call), error}};
}

IOError IOError::worded(const FilePath& url, std::string_view action, ErrorNumber error) {
  return {url, std::string(action) + ": " + error.text(), FailedCall{std::string(action), error}};
}

IOError IOError::named(const FilePath& url, std::string_view action, ErrorNumber error) {
  return {url, std::string(action), FailedCall{std::string(action), error}};
}

std::string_view caseName(const FileCompressionError& error) {
  struct {
    std::string_view operator()(const FileNotFound&) const { return "fileNotFound"; }
    std::string_view operator()(const NotARegularFile&) const { return "notARegularFile"; }
    std::string_view operator()(const SymbolicLink&) const { return "symbolicLink"; }
    std::string_view operator()(const HardLinked&) const { return "hardLinked"; }
    std::string_view operator()(const AlreadyCompressed&) const { return "alreadyCompressed"; }
    std::string_view operator()(const NotCompressed&) const { return "notCompressed"; }
    std::string_view operator()(const CompressionDidNotReduceSize&) const { return "compressionDidNotReduceSize"; }
    std::string_view operator()(const FileInUse&) const { return "fileInUse"; }
    std::string_view operator()(const RoundtripVerificationFailed&) const { return "roundtripVerificationFailed"; }
    std::string_view operator()(const FileTooLargeForFormat&) const { return "fileTooLargeForFormat"; }
    std::string_view operator()(const HasResourceFork&) const { return "hasResourceFork"; }
    std::string_view operator()(const FileChangedDuringOperation&) const { return "fileChangedDuringOperation"; }
    std::string_view operator()(const TemporaryFileConflict&) const { return "temporaryFileConflict"; }
    std::string_view operator()(const IOError&) const { return "ioError"; }
  } const name;
  return std::visit(name, error);
}

std::string describe(const FileCompressionError& error) {
  std::string text(caseName(error));
  text += "(" + std::visit([](const auto& e) { return e.url.displayText(); }, error);
  if (const auto* linked = std::get_if<HardLinked>(&error)) text += ", nlink: " + std::to_string(linked->nlink);
  if (const auto* large = std::get_if<FileTooLargeForFormat>(&error)) {
    text += ", sizeBytes: " + std::to_string(large->sizeBytes);
  }
  if (const auto* failure = std::get_if<IOError>(&error)) text += ", " + failure->detail;
  return text + ")";
}

}  // namespace quillbrook
