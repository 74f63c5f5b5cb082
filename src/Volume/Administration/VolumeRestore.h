// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>

#include "Platform/FilePath.h"
#include "Volume/Administration/VolumeError.h"

namespace quillbrook {

// What became of one compressed file.
struct RestoreEvent {
  enum class Outcome {
    restored,
    failed,   // its content is what it was, if only in a redo copy; see RestoredFile
    stopped,  // told only of one whose surplus bytes had been taken off before the stop
  };
  FilePath path;
  Outcome outcome = Outcome::restored;
  std::optional<FilePath> appended;  // where its surplus bytes are kept now
  std::string detail;                // of a failure: sentences; otherwise empty

  friend bool operator==(const RestoreEvent&, const RestoreEvent&) = default;
};

struct RestoreResult {
  FilePath folder;             // resolved
  std::uint64_t restored = 0;  // inodes
  std::uint64_t failed = 0;    // files and folders that could not be restored or looked at

  friend bool operator==(const RestoreResult&, const RestoreResult&) = default;
};

namespace VolumeRestore {

// Turns every compressed file below the folder back into an ordinary one, in place, without any mount. Refuses with
// Served while it is mounted, Ending while a daemon lives on, and with InUse while a process has a file there open for
// writing. May be killed or lose power at any moment and be run again. `onEvent` is called in this thread, once for
// each compressed inode or failure.
[[nodiscard]] std::expected<RestoreResult, VolumeError> restore(const FilePath& folder,
                                                                const std::function<void(const RestoreEvent&)>& onEvent,
                                                                std::stop_token stop = {});

}  // namespace VolumeRestore
}  // namespace quillbrook
