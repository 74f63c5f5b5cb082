// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Coder.h"

// The codec and its peers.
namespace quillbrook::Coders {

inline constexpr std::string_view ours = "quillbrook";

// In the order in which they are measured and shown; ours is the first. A peer's name is that of its library and the
// level, as in "zlib 6".
std::vector<Coder> make();

// The linked libraries' names and versions, for people.
std::string peerVersions();

}  // namespace quillbrook::Coders
