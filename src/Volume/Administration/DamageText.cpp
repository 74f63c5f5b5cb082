// SPDX-License-Identifier: MIT
#include "Volume/Administration/DamageText.h"

#include <fmt/format.h>

#include <variant>

#include "Container/ContainerReader.h"
#include "Container/ContainerState.h"

namespace quillbrook {
namespace {

struct Clause {
  std::string operator()(const ContainerCutShort& damage) const {
    return fmt::format("of {} stored bytes only {} are there", damage.expected, damage.got);
  }
  std::string operator()(const SurplusBytes& damage) const {
    return fmt::format("{} bytes stand behind its end", damage.count);
  }
  std::string operator()(const TrailerDiffers&) const { return "its end does not match its attribute"; }
  std::string operator()(const SpanDamaged& damage) const {
    return fmt::format("the stored bytes from {} on do not match their checksum",
                       damage.index * ContainerState::spanByteCount);
  }
  std::string operator()(const StructureInvalid&) const { return "its header and its table contradict each other"; }
  std::string operator()(const BlockUndecodable& damage) const {
    return fmt::format("the content from byte {} on cannot be decoded", damage.index * ContainerReader::blockByteCount);
  }
  std::string operator()(const TypeNotSupported& damage) const {
    return fmt::format("it is compressed as type {}, which this version cannot read", damage.rawValue);
  }
  std::string operator()(const ContainerUnreadable& damage) const {
    return fmt::format("it could not be read: {}", damage.error.text());
  }
};

}  // namespace

std::string DamageText::of(const ContainerDamage& damage) {
  return std::visit(Clause{}, damage);
}

}  // namespace quillbrook
