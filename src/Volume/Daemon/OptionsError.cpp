// SPDX-License-Identifier: MIT
#include "Volume/Daemon/OptionsError.h"

namespace quillbrook {

std::string sentence(const OptionsError& error) {
  switch (error.reason) {
    case OptionsError::Reason::helpWanted: return "help was asked for";
    case OptionsError::Reason::descriptorMissing: return "--fd needs the number of a descriptor";
    case OptionsError::Reason::listMissing: return "-o needs a list of options";
    case OptionsError::Reason::typeMissing: return "-t needs a type";
    case OptionsError::Reason::unknownOption: return "unknown option " + error.argument;
    case OptionsError::Reason::wrongPathCount: return "one folder is needed, or a folder and a mount point";
    case OptionsError::Reason::notADescriptor: return "a number is needed behind /dev/fd/, not " + error.argument;
  }
  return {};
}

}  // namespace quillbrook
