// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <string>

namespace quillbrook {

// A failure as the host's kernel numbers it (errno). The named ones are those that callers tell apart.
struct ErrorNumber {
  int value = 0;

  // The system's words for it, as "No such file or directory".
  [[nodiscard]] std::string text() const;

  friend bool operator==(const ErrorNumber&, const ErrorNumber&) = default;

  static const ErrorNumber attributeMissing;  // ENODATA
  static const ErrorNumber notSupported;      // ENOTSUP
  static const ErrorNumber wouldBlock;        // EWOULDBLOCK
  static const ErrorNumber exists;            // EEXIST
  static const ErrorNumber notPermitted;      // EPERM
  static const ErrorNumber accessDenied;      // EACCES
  static const ErrorNumber readOnly;          // EROFS
  static const ErrorNumber noEntry;           // ENOENT
  static const ErrorNumber brokenPipe;        // EPIPE
  static const ErrorNumber interrupted;       // EINTR
  static const ErrorNumber busy;              // EBUSY
  static const ErrorNumber stale;             // ESTALE
  static const ErrorNumber inputOutput;       // EIO: among others, a container whose bytes do not match its checksums
  static const ErrorNumber noSpace;           // ENOSPC
  static const ErrorNumber invalid;           // EINVAL
  static const ErrorNumber cancelled;         // ECANCELED
  static const ErrorNumber notRecoverable;    // ENOTRECOVERABLE: a half-done exchange could not be undone
};

template <typename T>
using Result = std::expected<T, ErrorNumber>;

}  // namespace quillbrook
