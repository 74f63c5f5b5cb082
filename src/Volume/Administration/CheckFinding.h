// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "Platform/FilePath.h"

namespace quillbrook {

// Something that is not as it should be with one file of a volume.
struct CheckFinding {
  enum class Kind {
    damagedContainer,      // a checksum does not match, or what it covers does not decode
    damagedState,          // neither attribute nor trailer can be understood
    attributeMissing,      // whole, but shown raw: the attribute was lost, the trailer is there
    surplusBytes,          // something was appended while the folder was not mounted
    cutShort,              // fewer bytes than the state promises
    trailerMissing,        // no attribute, and it begins like a container that lost its end
    redoCopyMissing,       // the content should be a redo copy that is not there
    interruptedExpansion,  // whole: its content is the redo copy until it is used again or restored
    differsFromRedoCopy,   // ordinary, and not what the copy kept of it holds: it may be half turned back
    orphanRedoCopy,        // no file's content that was found; restore removes it or tells whose it was
    datalessCloud,         // a placeholder: its content lies elsewhere, as it should
    workFile,              // debris of an interrupted operation, marked as ours
    unsupportedType,       // a payload type that cannot be decoded here
    unreadable,            // the file or folder could not be looked at: nothing is known of it
  };
  FilePath path;
  Kind kind = Kind::damagedContainer;
  std::string detail;  // the system's words or figures; may be empty

  friend bool operator==(const CheckFinding&, const CheckFinding&) = default;
};

// As the enumerator is called, which is also what `--json` calls it: "damagedContainer".
[[nodiscard]] std::string_view caseName(CheckFinding::Kind kind);
// One line for the person, without the path: what it is, what to do.
[[nodiscard]] std::string sentence(const CheckFinding& finding);
// Whether content that should be here cannot be had through a mount as it stands.
[[nodiscard]] bool isDamage(CheckFinding::Kind kind);

}  // namespace quillbrook
