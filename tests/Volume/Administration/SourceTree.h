// SPDX-License-Identifier: MIT
#pragma once

#include "Compression/Header/DecmpfsHeader.h"
#include "Container/ContainerState.h"
#include "Platform/Linux/RedoRecord.h"
#include "Support/ScratchFolder.h"
#include "Volume/Administration/VolumeError.h"

namespace quillbrook {

// That it was refused, and with which error.
template <typename Error, typename Answer>
testing::AssertionResult isRefusedAs(const Answer& answer) {
  if (answer) return testing::AssertionFailure() << "it was not refused";
  if (std::holds_alternative<Error>(answer.error())) return testing::AssertionSuccess();
  return testing::AssertionFailure() << describe(answer.error());
}

// A folder with compressed files as an unmounted volume has them, and what can befall them there.
class SourceTree : public ScratchFolder {
 public:
  // One thing that befalls the file of that name.
  using Mishap = void (SourceTree::*)(std::string_view name) const;

  // Compressed by the engine, with a modification time long past; then the mishaps in turn. `content` must be worth it.
  void writeContainer(std::string_view name, std::string_view content, const std::vector<Mishap>& mishaps = {}) const;

  void loseState(std::string_view name) const;
  // As after it was taken for a content, compressed and turned back.
  void buryState(std::string_view name) const;
  void garbleState(std::string_view name) const;
  void flipBit(std::string_view name) const;         // in the middle
  void flipTrailerBit(std::string_view name) const;  // near the end
  void cutShort(std::string_view name) const;
  // It is one of a type that nobody here can read; and one whose content lies elsewhere.
  void becomeFuture(std::string_view name) const { setType(name, 13); }
  void becomePlaceholder(std::string_view name) const { setType(name, DecmpfsHeader::datalessRawValue); }
  void appendMore(std::string_view name) const { append(name, "more"); }

  // Told by its attribute alone.
  [[nodiscard]] bool isCompressed(std::string_view name) const {
    return state(name).value_or(ContainerState{}).isSealed();
  }
  // Nothing if there is none, or none that makes sense.
  [[nodiscard]] std::optional<ContainerState> state(std::string_view name) const;
  void setState(std::string_view name, const ContainerState& state) const;
  // As in an expansion that was interrupted.
  void setRedoIdentifier(std::string_view name, std::uint32_t identifier) const;
  [[nodiscard]] RedoRecord redoRecord(std::string_view name) const;
  // A redo copy of that content, made for the file of that record.
  void writeRedoCopy(std::string_view name, std::string_view content, const RedoRecord& record) const;

 private:
  void setType(std::string_view name, std::uint32_t type) const;
};

}  // namespace quillbrook
