// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "CommandLine/Command.h"
#include "CommandLine/ProcessedFile.h"
#include "Compression/EngineError.h"

namespace quillbrook {

// How an operation on one file counts.
enum class Outcome : std::uint8_t {
  done,
  skipped,  // there was nothing to do, or nothing to gain, or now is not the time
  failed,
};

[[nodiscard]] std::string_view name(Outcome outcome);

// How an error of the engine counts and what people read about it.
namespace OutcomeTable {

// The engine's refusals are sorted by case and operation; what the codecs report is always a failure.
[[nodiscard]] Outcome outcome(OperationKind kind, const EngineError& error);

// A few words, the same for every error of a case, to stand behind a count: "already compressed".
[[nodiscard]] std::string label(const EngineError& error);

// What is the matter with the file, what to do, the system's words.
[[nodiscard]] std::string sentence(const EngineError& error);
// The same, but for a file that was abandoned, where the error only tells of the stop.
[[nodiscard]] std::string sentence(const RefusedFile& file);

// The file could not be compressed because it lies in no volume, or in one that is mounted elsewhere.
[[nodiscard]] bool isOutsideVolume(const EngineError& error);

}  // namespace OutcomeTable
}  // namespace quillbrook
