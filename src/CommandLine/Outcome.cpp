// SPDX-License-Identifier: MIT
#include "CommandLine/Outcome.h"

#include <fmt/format.h>

#include <charconv>
#include <optional>
#include <variant>

#include "Platform/ErrorNumber.h"

namespace quillbrook {
namespace {

struct Row {
  Outcome compress;
  Outcome decompress;
  std::string_view label;
  std::string_view advice = {};
};

constexpr auto skipped = Outcome::skipped;
constexpr auto failed = Outcome::failed;

// compress, decompress, words
struct RowOf {
  Row operator()(const FileNotFound&) const { return {failed, failed, "not found"}; }
  Row operator()(const NotARegularFile&) const { return {skipped, skipped, "not a regular file"}; }
  Row operator()(const SymbolicLink&) const {
    return {skipped, skipped, "a symbolic link", "name the file that it points to"};
  }
  Row operator()(const HardLinked&) const {
    return {skipped, skipped, "hard-linked", "its content is shared with other names"};
  }
  Row operator()(const AlreadyCompressed&) const { return {skipped, failed, "already compressed"}; }
  Row operator()(const NotCompressed&) const { return {failed, skipped, "not compressed"}; }
  Row operator()(const CompressionDidNotReduceSize&) const { return {skipped, failed, "would not get smaller"}; }
  Row operator()(const FileInUse&) const {
    return {skipped, skipped, "in use by another program", "close it there and try again"};
  }
  Row operator()(const RoundtripVerificationFailed&) const {
    return {failed, failed, "reading back gave something else", "the file was left as it is; try again"};
  }
  Row operator()(const FileTooLargeForFormat&) const {
    return {skipped, failed, "too large", "the format holds files of up to 2,147,483,647 bytes"};
  }
  Row operator()(const HasResourceFork&) const {
    return {skipped, failed, "has a resource fork", "compressing would lose it"};
  }
  Row operator()(const FileChangedDuringOperation&) const {
    return {skipped, skipped, "changed by another program meanwhile", "the file was left as it is; try again later"};
  }
  Row operator()(const TemporaryFileConflict&) const {
    return {failed, failed, "the work file's name is taken", "if nobody needs that file, delete it and try again"};
  }
  Row operator()(const IOError&) const { return {failed, failed, "a system call failed"}; }
};

Row rowOf(const EngineError& error) {
  if (const auto* refusal = std::get_if<FileCompressionError>(&error)) return std::visit(RowOf{}, *refusal);
  return {failed, failed, "the codec failed", "the file was left as it is"};
}

const IOError* ioErrorOf(const EngineError& error) {
  const auto* refusal = std::get_if<FileCompressionError>(&error);
  return refusal == nullptr ? nullptr : std::get_if<IOError>(refusal);
}

// The number that a detail like "chflags: errno=95" ends with.
std::optional<ErrorNumber> numberIn(std::string_view detail) {
  static constexpr std::string_view mark = "errno=";
  const std::size_t start = detail.rfind(mark);
  if (start == std::string_view::npos) return std::nullopt;
  ErrorNumber number;
  const std::string_view digits = detail.substr(start + mark.size());
  const auto [end, problem] = std::from_chars(digits.data(), digits.data() + digits.size(), number.value);
  if (problem != std::errc{} || end != digits.data() + digits.size()) return std::nullopt;
  return number;
}

}  // namespace

std::string_view name(Outcome outcome) {
  switch (outcome) {
    case Outcome::done: return "done";
    case Outcome::skipped: return "skipped";
    case Outcome::failed: break;
  }
  return "failed";
}

namespace OutcomeTable {

Outcome outcome(OperationKind kind, const EngineError& error) {
  const Row row = rowOf(error);
  return kind == OperationKind::compress ? row.compress : row.decompress;
}

std::string_view label(const EngineError& error) {
  return isOutsideVolume(error) ? "in no mounted volume" : rowOf(error).label;
}

std::string sentence(const EngineError& error) {
  std::string text(label(error));
  if (const std::string_view advice = rowOf(error).advice; !advice.empty()) text += fmt::format("; {}", advice);
  if (const IOError* failure = ioErrorOf(error)) {
    text += ": " + failure->detail;
    if (const auto number = numberIn(failure->detail)) text += fmt::format(" ({})", number->text());
  } else {
    text += fmt::format(" ({})", caseName(error));
  }
  return text;
}

bool isOutsideVolume(const EngineError& error) {
  const IOError* failure = ioErrorOf(error);
  return failure != nullptr && failure->detail.starts_with("chflags") &&
         numberIn(failure->detail) == ErrorNumber::notSupported;
}

}  // namespace OutcomeTable
}  // namespace quillbrook
