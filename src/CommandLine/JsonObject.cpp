// SPDX-License-Identifier: MIT
#include "CommandLine/JsonObject.h"

#include "CommandLine/Base64.h"

namespace quillbrook {

std::string JsonObject::line(const Json& object) {
  // Details can quote names, which need not be UTF-8.
  return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void JsonObject::addPath(Json& object, const std::string& key, const FilePath& path) {
  object[key] = path.displayText();
  if (!path.isUtf8()) object[key + "Base64"] = Base64::text(path.bytes());
}

}  // namespace quillbrook
