// SPDX-License-Identifier: MIT
#include "CommandLine/Outcome.h"

#include <fmt/format.h>

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
  Row operator()(const FileNotFound&) const { return {failed, failed, "not found", "see whether the name is right"}; }
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
  return {failed, failed, "the codec failed", "the file was left as it is; try again"};
}

const IOError* ioErrorOf(const EngineError& error) {
  const auto* refusal = std::get_if<FileCompressionError>(&error);
  return refusal == nullptr ? nullptr : std::get_if<IOError>(refusal);
}

// Only a volume keeps the flag that makes a file a compressed one.
bool isRefusedFlag(const IOError& failure) {
  return failure.call && failure.call->step == "chflags" && failure.call->error == ErrorNumber::notSupported;
}

// What to do about a failing call, where it is not told once for all files.
std::string_view adviceOn(const IOError& failure) {
  const auto error = failure.call ? failure.call->error : ErrorNumber{};
  if (isRefusedFlag(failure)) return {};
  if (error == ErrorNumber::noSpace) return "make room on that file system and try again";
  if (error == ErrorNumber::accessDenied || error == ErrorNumber::notPermitted) return "run this as the file's owner";
  if (error == ErrorNumber::inputOutput) return "see with 'quillbrookctl volume check' whether it is damaged";
  return "the file was left as it is; try again";
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
  const IOError* failure = ioErrorOf(error);
  std::string text(label(error));
  if (const std::string_view advice = failure != nullptr ? adviceOn(*failure) : rowOf(error).advice; !advice.empty()) {
    text += fmt::format("; {}", advice);
  }
  if (failure == nullptr) return text + fmt::format(" ({})", caseName(error));
  return text + ": " +
         (failure->call ? fmt::format("{}: {}", failure->call->step, failure->call->error.text()) : failure->detail);
}

bool isOutsideVolume(const EngineError& error) {
  const IOError* failure = ioErrorOf(error);
  return failure != nullptr && isRefusedFlag(*failure);
}

}  // namespace OutcomeTable
}  // namespace quillbrook
