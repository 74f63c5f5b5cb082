// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <stop_token>
#include <variant>

#include "Container/ContainerCheck.h"
#include "Container/ContainerState.h"
#include "Platform/ErrorNumber.h"

namespace quillbrook {

// What a regular file in a volume's source holds, by its state and its bytes.
namespace StoredFiles {

// No compressed content; it may carry flags or a creation time.
struct Ordinary {
  friend bool operator==(const Ordinary&, const Ordinary&) = default;
};
// A work file that an operation is building, or was.
struct WorkFile {
  friend bool operator==(const WorkFile&, const WorkFile&) = default;
};
// A compressed file that was opened to be emptied; a crash came before it was.
struct Emptied {
  ContainerState state;
  friend bool operator==(const Emptied&, const Emptied&) = default;
};
// The state names a redo copy as the content.
struct Redone {
  ContainerState state;
  bool hasCopy = false;
  friend bool operator==(const Redone&, const Redone&) = default;
};
// A compressed file, whole or not.
struct Container {
  enum class Attribute { whole, missing, damaged };
  ContainerState state;
  Attribute attribute = Attribute::whole;  // otherwise the state comes from the trailer
  std::uint64_t surplusByteCount = 0;      // behind the trailer

  friend bool operator==(const Container&, const Container&) = default;
};
// A damaged attribute, and no trailer that would tell what it was.
struct StateUnknown {
  friend bool operator==(const StateUnknown&, const StateUnknown&) = default;
};
// No attribute; it begins as a container does and no trailer follows.
struct TrailerMissing {
  friend bool operator==(const TrailerMissing&, const TrailerMissing&) = default;
};

}  // namespace StoredFiles

using StoredFile = std::variant<StoredFiles::Ordinary, StoredFiles::WorkFile, StoredFiles::Emptied, StoredFiles::Redone,
                                StoredFiles::Container, StoredFiles::StateUnknown, StoredFiles::TrailerMissing>;

// Tells by its state, and without one by its first and last bytes, what the open `file` is; changes nothing. `folder`
// is a descriptor of the one that it lies in; `name` tells work files by their ending. Any thread. Errors as of
// reading the file.
[[nodiscard]] Result<StoredFile> examineStoredFile(int folder, int file, const char* name);

// Reads and decodes a container from end to end: what is wrong with what stands before its surplus, if anything. A
// stop answers `cancelled`.
[[nodiscard]] Result<std::optional<ContainerDamage>> findDamage(int file, const StoredFiles::Container& stored,
                                                                const std::stop_token& stop = {});

}  // namespace quillbrook
