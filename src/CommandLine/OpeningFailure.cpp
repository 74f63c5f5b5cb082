// SPDX-License-Identifier: MIT
#include "CommandLine/OpeningFailure.h"

#include <cerrno>

namespace quillbrook {

std::string OpeningFailure::sentence(ErrorNumber reason) {
  switch (reason.value) {
    case ENOENT:
    case ELOOP: return "nothing is there; see to its spelling";
    case ENOTDIR: return "it is no folder; name one";
    case EACCES:
    case EPERM: return "it may not be read; see to its permissions: " + reason.text();
    case ENOTCONN:
    case ECONNABORTED:
      return "its volume's daemon has died; mount it again with 'quillbrookctl volume mount': " + reason.text();
    default: return "it cannot be looked at: " + reason.text();
  }
}

}  // namespace quillbrook
