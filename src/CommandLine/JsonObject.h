// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "Platform/FilePath.h"

// What all lines of `--json` have in common.
namespace quillbrook::JsonObject {

using Json = nlohmann::ordered_json;

// Without a line feed. What is not UTF-8 has U+FFFD.
[[nodiscard]] std::string line(const Json& object);
// Of a path that is not UTF-8 `keyBase64` has the bytes.
void addPath(Json& object, const std::string& key, const FilePath& path);

}  // namespace quillbrook::JsonObject
