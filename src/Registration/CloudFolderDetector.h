// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "Platform/FilePath.h"
#include "Registration/CloudService.h"

// Compressing a folder that a cloud service mirrors saves nothing in the cloud, is undone by changes from elsewhere and
// may cause new uploads. Such a folder is recognised by where it lies, and nobody is asked.
namespace quillbrook::CloudFolderDetector {

// `home` is the running user's; what lies in another user's is never recognised. Pure; any thread.
[[nodiscard]] std::optional<CloudService> detect(const FilePath& url, const FilePath& home);

}  // namespace quillbrook::CloudFolderDetector
