// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <stop_token>
#include <string>

#include "Volume/Expansion/FolderWalk.h"

namespace quillbrook {

// One file of a source without a daemon, turned back into an ordinary one. Any thread, one file at a time.
struct RestoredFile {
  enum class Outcome {
    ordinary,  // it was none to restore: nothing was done
    restored,
    stopped,  // it is as it was, but for surplus bytes, which may be kept beside it by now
  };
  Outcome outcome = Outcome::ordinary;
  std::optional<std::string> appended;  // name, beside it, of what keeps its surplus bytes

  struct Failure {
    std::string detail;                   // sentences: what failed, what to do, the system's words
    std::optional<std::string> appended;  // as above: done before the failure
    bool isGone = false;                  // it had vanished before it was examined
    std::uint32_t redoIdentifier = 0;     // not 0: the redo copy that is still its content
  };

  // `source` is a descriptor of the source folder, `privateFolder` of the volume's folder in it; the caller holds the
  // source's lock. On failure the content is what it was, but for surplus bytes, which may be kept beside it by then;
  // where turning it back had begun, it is the redo copy's, and the file itself may be half rewritten.
  [[nodiscard]] static std::expected<RestoredFile, Failure> restore(int source, int privateFolder,
                                                                    const WalkedFile& file,
                                                                    const std::stop_token& stop);
};

}  // namespace quillbrook
