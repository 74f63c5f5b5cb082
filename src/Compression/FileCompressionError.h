// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// Why a file was not compressed or decompressed. Every case names the location concerned.

struct FileNotFound {
  FilePath url;
  friend bool operator==(const FileNotFound&, const FileNotFound&) = default;
};
// Neither a regular file nor a symbolic link.
struct NotARegularFile {
  FilePath url;
  friend bool operator==(const NotARegularFile&, const NotARegularFile&) = default;
};
// The path itself is a symbolic link.
struct SymbolicLink {
  FilePath url;
  friend bool operator==(const SymbolicLink&, const SymbolicLink&) = default;
};
struct HardLinked {
  FilePath url;
  std::int64_t nlink = 0;
  friend bool operator==(const HardLinked&, const HardLinked&) = default;
};
struct AlreadyCompressed {
  FilePath url;
  friend bool operator==(const AlreadyCompressed&, const AlreadyCompressed&) = default;
};
struct NotCompressed {
  FilePath url;
  friend bool operator==(const NotCompressed&, const NotCompressed&) = default;
};
// A small file whose stream is not shorter than the file.
struct CompressionDidNotReduceSize {
  FilePath url;
  friend bool operator==(const CompressionDidNotReduceSize&, const CompressionDidNotReduceSize&) = default;
};
// Another program holds the file's lock or has it open for writing.
struct FileInUse {
  FilePath url;
  friend bool operator==(const FileInUse&, const FileInUse&) = default;
};
// What was written does not give back what was read.
struct RoundtripVerificationFailed {
  FilePath url;
  friend bool operator==(const RoundtripVerificationFailed&, const RoundtripVerificationFailed&) = default;
};
struct FileTooLargeForFormat {
  FilePath url;
  std::int64_t sizeBytes = 0;
  friend bool operator==(const FileTooLargeForFormat&, const FileTooLargeForFormat&) = default;
};
// The file has a resource fork of its own, which compressing would destroy.
struct HasResourceFork {
  FilePath url;
  friend bool operator==(const HasResourceFork&, const HasResourceFork&) = default;
};
struct FileChangedDuringOperation {
  FilePath url;
  friend bool operator==(const FileChangedDuringOperation&, const FileChangedDuringOperation&) = default;
};
// A file that is not this system's stands where the work file must go; `url` is the work file's.
struct TemporaryFileConflict {
  FilePath url;
  friend bool operator==(const TemporaryFileConflict&, const TemporaryFileConflict&) = default;
};
// What a call was for, as "lstat" or "read source", and the host's number.
struct FailedCall {
  std::string step;
  ErrorNumber error;
};
// Any other failing call.
struct IOError {
  FilePath url;
  std::string detail;
  // What the detail is made of, where a call failed.
  std::optional<FailedCall> call = std::nullopt;

  // The call with its number, as "lstat: errno=5".
  [[nodiscard]] static IOError numbered(const FilePath& url, std::string_view call, ErrorNumber error);
  // The action with the system's words, as "read source: Input/output error".
  [[nodiscard]] static IOError worded(const FilePath& url, std::string_view action, ErrorNumber error);
  // The action alone, as "open source for streaming".
  [[nodiscard]] static IOError named(const FilePath& url, std::string_view action, ErrorNumber error);

  // Of location and detail: the rest only takes the detail apart.
  friend bool operator==(const IOError& a, const IOError& b) { return a.url == b.url && a.detail == b.detail; }
};

using FileCompressionError =
    std::variant<FileNotFound, NotARegularFile, SymbolicLink, HardLinked, AlreadyCompressed, NotCompressed,
                 CompressionDidNotReduceSize, FileInUse, RoundtripVerificationFailed, FileTooLargeForFormat,
                 HasResourceFork, FileChangedDuringOperation, TemporaryFileConflict, IOError>;

// The case's name, as "alreadyCompressed".
[[nodiscard]] std::string_view caseName(const FileCompressionError& error);
// The case with its payload, as "hardLinked(/a/b, nlink: 2)" or "ioError(/a/b, lstat: errno=5)".
[[nodiscard]] std::string describe(const FileCompressionError& error);

}  // namespace quillbrook
