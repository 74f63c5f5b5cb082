// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>

#include "Platform/FilePath.h"
#include "Volume/Administration/VolumeError.h"

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
    orphanRedoCopy,        // no file's content; restore removes it
    workFile,              // debris of an interrupted operation, marked as ours
    unsupportedType,       // a payload type that cannot be decoded here
    unreadable,            // the file or folder could not be looked at: nothing is known of it
  };
  FilePath path;
  Kind kind = Kind::damagedContainer;
  std::string detail;  // the system's words or figures; may be empty

  friend bool operator==(const CheckFinding&, const CheckFinding&) = default;
};

// What `--json` calls it: "damagedContainer".
[[nodiscard]] std::string_view describe(CheckFinding::Kind kind);
// One line for the person, without the path: what it is, what to do.
[[nodiscard]] std::string sentence(const CheckFinding& finding);
// Whether the file's content cannot be had through a mount as it stands.
[[nodiscard]] bool isDamage(CheckFinding::Kind kind);

struct CheckResult {
  FilePath folder;                 // resolved
  std::uint64_t files = 0;         // regular files, each inode once
  std::uint64_t containers = 0;    // compressed ones among them
  std::uint64_t logicalBytes = 0;  // of the containers that were found whole
  std::uint64_t damaged = 0;       // findings that are damage: exit code 4
  std::uint64_t unreadable = 0;    // findings `unreadable`
  std::uint64_t notes = 0;         // the other findings

  friend bool operator==(const CheckResult&, const CheckResult&) = default;
};

namespace VolumeCheck {

// Walks the folder, mounted or bare, decodes every container and verifies its checksums. Changes nothing. `onFinding`
// is called as things are found, in this thread. Follows no link and stays on the folder's own file system.
[[nodiscard]] std::expected<CheckResult, VolumeError> check(const FilePath& folder,
                                                            const std::function<void(const CheckFinding&)>& onFinding,
                                                            std::stop_token stop = {});

}  // namespace VolumeCheck
}  // namespace quillbrook
