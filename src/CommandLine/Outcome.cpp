// SPDX-License-Identifier: MIT
#include "CommandLine/Outcome.h"

#include <fmt/format.h>

#include <cerrno>
#include <variant>

#include "Platform/ErrorNumber.h"
#include "Platform/ReservedNames.h"

namespace quillbrook {
namespace {

struct Row {
  Outcome compress;
  Outcome decompress;
  std::string_view label;
  std::string_view advice;
};

constexpr auto skipped = Outcome::skipped;
constexpr auto failed = Outcome::failed;

// compress, decompress, words
struct RowOf {
  Row operator()(const FileNotFound&) const { return {failed, failed, "not found", "see whether the name is right"}; }
  Row operator()(const NotARegularFile&) const { return {skipped, skipped, "not a regular file", ""}; }
  Row operator()(const SymbolicLink&) const {
    return {skipped, skipped, "a symbolic link", "name the file that it points to"};
  }
  Row operator()(const HardLinked&) const {
    return {skipped, skipped, "hard-linked", "its content is shared with other names"};
  }
  Row operator()(const AlreadyCompressed&) const { return {skipped, failed, "already compressed", ""}; }
  Row operator()(const NotCompressed&) const { return {failed, skipped, "not compressed", ""}; }
  Row operator()(const CompressionDidNotReduceSize&) const { return {skipped, failed, "would not get smaller", ""}; }
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
  Row operator()(const IOError&) const { return {failed, failed, "a system call failed", ""}; }
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
  if (error == ErrorNumber{ENOTDIR}) return "see whether the name is right";
  if (error == ErrorNumber{ENOTCONN} || error == ErrorNumber{ECONNABORTED}) {
    return "the daemon of its volume has died: mount the volume again with 'quillbrookctl volume mount'";
  }
  if (error == ErrorNumber::noSpace && failure.call->step == "chflags") {
    return "make room on that file system and try again; where there is room, its attributes do not fit beside the "
           "compressed form, and it stays as it is";
  }
  if (error == ErrorNumber::noSpace) return "make room on that file system and try again";
  if (error == ErrorNumber{EDQUOT})
    return "free some of your own space there, or have your quota raised, and try again";
  if (error == ErrorNumber::readOnly) return "it is on a read-only mount: mount that for writing and try again";
  if (error == ErrorNumber{ENAMETOOLONG} && failure.call->step == "create slimtmp")
    return "the work file beside it needs 8 more bytes: shorten its name or path";
  if (error == ErrorNumber::inputOutput && failure.call->step == "rename") {
    return "if something was appended to it while no volume showed it, unmount the volume, and 'quillbrookctl volume "
           "restore' keeps that; see with 'quillbrookctl volume check'";
  }
  if (error == ErrorNumber::accessDenied) {
    return "run this as the file's owner, by its path in the volume; in a volume that another user or root has "
           "mounted, "
           "only they and root can, and in a bind mount of a part of one, nobody";
  }
  if (error == ErrorNumber::notPermitted) {
    return "see with lsattr whether it or its folder is immutable or append-only, and take that off with chattr; "
           "otherwise run this as the file's owner";
  }
  // The work file's troubles are none of the user's file.
  const bool isAtWorkFile = ReservedNames::isWorkFileName(failure.url.name());
  if (error == ErrorNumber::inputOutput) {
    return isAtWorkFile ? "the file was left as it is; see in the system's log whether the disk is failing"
                        : "see with 'quillbrookctl volume check' whether it is damaged";
  }
  if (error == ErrorNumber::notSupported) {
    return isAtWorkFile ? "the file was left as it is; its file system may keep no extended attributes, which this "
                          "needs"
                        : "it is compressed in a way that this version cannot read: use a newer one; or it is a "
                          "placeholder, whose content lies elsewhere";
  }
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

std::string label(const EngineError& error) {
  if (isOutsideVolume(error)) return "in no volume mounted over its own folder";
  const IOError* failure = ioErrorOf(error);
  return failure != nullptr && failure->call ? failure->call->error.text() : std::string(rowOf(error).label);
}

std::string sentence(const RefusedFile& file) {
  return file.isAbandoned ? "stopped before the end; the file is as it was" : sentence(file.error);
}

std::string sentence(const EngineError& error) {
  const IOError* failure = ioErrorOf(error);
  std::string text(isOutsideVolume(error) ? label(error) : std::string(rowOf(error).label));
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
