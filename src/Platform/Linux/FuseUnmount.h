// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <string>
#include <variant>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

// Taking FUSE mounts away: by the system call for root, by `helper` for everybody else. Any thread.
namespace quillbrook::FuseUnmount {

// The set-user-id program with which everybody but root mounts and unmounts.
inline constexpr const char* helper = "fusermount3";

enum class Manner {
  ifUnused,  // fails while anybody is in it
  lazily,    // out of sight at once; it ends with its last handle
};

// umount(2) failed.
struct CallFailed {
  ErrorNumber reason;
  friend bool operator==(const CallFailed&, const CallFailed&) = default;
};
// `helper` could not be started.
struct HelperMissing {
  ErrorNumber reason;
  friend bool operator==(const HelperMissing&, const HelperMissing&) = default;
};
// `helper` ended with a failure; `words` is what it wrote, bytes.
struct HelperFailed {
  int exitCode = 0;
  std::string words;
  friend bool operator==(const HelperFailed&, const HelperFailed&) = default;
};
using Error = std::variant<CallFailed, HelperMissing, HelperFailed>;

// The topmost mount at `mountPoint`, which is no link.
[[nodiscard]] std::expected<void, Error> unmount(const FilePath& mountPoint, Manner manner);

}  // namespace quillbrook::FuseUnmount
