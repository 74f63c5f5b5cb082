// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "Container/ContainerCheck.h"

// What is wrong with a container, in words for the person.
namespace quillbrook::DamageText {

// A clause that fits behind a colon: "the stored bytes from 65536 on do not match their checksum".
[[nodiscard]] std::string of(const ContainerDamage& damage);

}  // namespace quillbrook::DamageText
