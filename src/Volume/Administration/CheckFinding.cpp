// SPDX-License-Identifier: MIT
#include "Volume/Administration/CheckFinding.h"

#include <fmt/format.h>

namespace quillbrook {
namespace {

struct Words {
  std::string_view name;
  std::string_view text;
  bool isDamage;
};

Words wordsOf(CheckFinding::Kind kind) {
  switch (kind) {
    case CheckFinding::Kind::damagedContainer:
      return {"damagedContainer", "damaged; bring this file back from a backup", true};
    case CheckFinding::Kind::damagedState:
      return {"damagedState", "what is known of it is damaged; try `quillbrookctl volume restore`", true};
    case CheckFinding::Kind::attributeMissing:
      return {"attributeMissing",
              "compressed, but its attribute was lost; `quillbrookctl volume restore` brings it back", true};
    case CheckFinding::Kind::surplusBytes:
      return {"surplusBytes",
              "something was appended while the folder was not mounted; `quillbrookctl volume restore` separates it",
              true};
    case CheckFinding::Kind::cutShort:
      return {"cutShort", "the end of it is missing; bring this file back from a backup", true};
    case CheckFinding::Kind::trailerMissing:
      return {"trailerMissing",
              "begins like a compressed file without an end; if it is one, bring it back from a backup", true};
    case CheckFinding::Kind::redoCopyMissing:
      return {"redoCopyMissing",
              "was being turned back, and the redo copy that has its content was not found, or was made for "
              "another file; look for it in .quillbrook-volume folders before you bring this file back from a backup",
              true};
    case CheckFinding::Kind::interruptedExpansion:
      return {"interruptedExpansion", "whole; turning it back was interrupted and goes on when it is used again",
              false};
    case CheckFinding::Kind::differsFromRedoCopy:
      return {"differsFromRedoCopy",
              "differs from the copy that was kept of its content when it was turned back; compare the two, put the "
              "right content in its place, and remove the copy",
              true};
    case CheckFinding::Kind::orphanRedoCopy:
      return {
          "orphanRedoCopy",
          "left over from turning a file back; `quillbrookctl volume restore` clears it up, or keeps it if its file "
          "is missing",
          false};
    case CheckFinding::Kind::datalessCloud:
      return {"datalessCloud", "a placeholder, whose content lies elsewhere; nothing is wrong with it", false};
    case CheckFinding::Kind::workFile:
      return {"workFile", "left over from an interrupted operation; the next one on this file removes it", false};
    case CheckFinding::Kind::unsupportedType:
      return {"unsupportedType", "compressed in a way that this version cannot read; use a newer one", true};
    case CheckFinding::Kind::unreadable:
      return {"unreadable", "could not be looked at; put right what the system says, or check as its owner or root",
              false};
  }
  return {"", "", false};
}

}  // namespace

std::string_view caseName(CheckFinding::Kind kind) {
  return wordsOf(kind).name;
}

std::string sentence(const CheckFinding& finding) {
  const std::string_view text = wordsOf(finding.kind).text;
  return finding.detail.empty() ? fmt::format("{}.", text) : fmt::format("{}: {}.", text, finding.detail);
}

bool isDamage(CheckFinding::Kind kind) {
  return wordsOf(kind).isDamage;
}

}  // namespace quillbrook
