// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace quillbrook {

// What is wrong with the arguments of the volume daemon.
struct OptionsError {
  enum class Reason : std::uint8_t {
    helpWanted,         // nothing is: the usage was asked for
    descriptorMissing,  // behind --fd, or it is no number
    listMissing,        // behind -o
    typeMissing,        // behind -t
    unknownOption,
    wrongPathCount,
    notADescriptor,  // a mount point /dev/fd/... without a number
  };
  Reason reason{};
  std::string argument;  // that it is about, if it is about one

  friend bool operator==(const OptionsError&, const OptionsError&) = default;
};

// For the person: what is wrong and what is wanted.
[[nodiscard]] std::string sentence(const OptionsError& error);

}  // namespace quillbrook
