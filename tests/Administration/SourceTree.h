// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "Container/ContainerState.h"
#include "support/ScratchFolder.h"

namespace quillbrook {

// A folder with compressed files as an unmounted volume has them, and what can befall them there.
class SourceTree : public ScratchFolder {
 public:
  // One thing that befalls the file of that name.
  using Mishap = void (SourceTree::*)(std::string_view name) const;

  // Compressed by the engine, with a modification time long past; then the mishaps in turn. `content` must be worth it.
  void writeContainer(std::string_view name, std::string_view content, const std::vector<Mishap>& mishaps = {}) const;

  void loseState(std::string_view name) const;
  void garbleState(std::string_view name) const;
  void flipBit(std::string_view name) const;         // in the middle
  void flipTrailerBit(std::string_view name) const;  // near the end
  void cutShort(std::string_view name) const;
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
};

}  // namespace quillbrook
