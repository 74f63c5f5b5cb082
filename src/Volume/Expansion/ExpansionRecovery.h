// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// What became of the redo copies that an earlier run left.
struct RecoveryOutcome {
  struct Failure {
    FilePath place;                // a redo copy, or a folder in which its file may lie
    ErrorNumber reason;            // `noEntry`: its file was not found
    std::optional<FilePath> file;  // the copy's, if it neither names the copy nor holds the same
    friend bool operator==(const Failure&, const Failure&) = default;
  };
  std::uint64_t found = 0;        // redo copies
  std::uint64_t settled = 0;      // of these: their expansion was completed, or nobody needs them and they went
  std::vector<Failure> failures;  // at least one if not all were settled, or if nothing can be said of them

  friend bool operator==(const RecoveryOutcome&, const RecoveryOutcome&) = default;
};

// For the person: what was not completed, what to do, and a line for each failure; empty if there is none.
[[nodiscard]] std::string sentence(const RecoveryOutcome& outcome);

namespace ExpansionRecovery {

// Completes the expansions that a crash interrupted and removes the redo copies whose files are seen to be whole. A
// copy whose file cannot be found stays, and so does one whose file carries no state and holds something else: it may
// be half rewritten and have lost its state. Looks for a file where it was, then everywhere beneath the source on its
// file system. A file that is not completed keeps its content: the copy is it. `source` is a descriptor of the volume's
// source folder, and no daemon may be serving it: the caller holds its SourceLock.
[[nodiscard]] RecoveryOutcome run(int source);

}  // namespace ExpansionRecovery
}  // namespace quillbrook
