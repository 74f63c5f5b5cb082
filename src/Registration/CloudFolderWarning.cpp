// SPDX-License-Identifier: MIT
#include "Registration/CloudFolderWarning.h"

namespace quillbrook {

std::string CloudFolderWarning::heading(CloudService service) {
  return std::string(displayName(service)) + " 配下を登録しようとしています";
}

}  // namespace quillbrook
