// SPDX-License-Identifier: MIT
#include "Platform/ErrorNumber.h"

#include <cerrno>
#include <system_error>

namespace quillbrook {

constinit const ErrorNumber ErrorNumber::attributeMissing{ENODATA};
constinit const ErrorNumber ErrorNumber::notSupported{ENOTSUP};
constinit const ErrorNumber ErrorNumber::wouldBlock{EWOULDBLOCK};
constinit const ErrorNumber ErrorNumber::exists{EEXIST};
constinit const ErrorNumber ErrorNumber::notPermitted{EPERM};
constinit const ErrorNumber ErrorNumber::accessDenied{EACCES};
constinit const ErrorNumber ErrorNumber::readOnly{EROFS};
constinit const ErrorNumber ErrorNumber::noEntry{ENOENT};
constinit const ErrorNumber ErrorNumber::brokenPipe{EPIPE};
constinit const ErrorNumber ErrorNumber::interrupted{EINTR};
constinit const ErrorNumber ErrorNumber::busy{EBUSY};
constinit const ErrorNumber ErrorNumber::stale{ESTALE};
constinit const ErrorNumber ErrorNumber::inputOutput{EIO};
constinit const ErrorNumber ErrorNumber::noSpace{ENOSPC};
constinit const ErrorNumber ErrorNumber::invalid{EINVAL};
constinit const ErrorNumber ErrorNumber::cancelled{ECANCELED};
constinit const ErrorNumber ErrorNumber::notRecoverable{ENOTRECOVERABLE};

std::string ErrorNumber::text() const {
  return std::generic_category().message(value);
}

}  // namespace quillbrook
