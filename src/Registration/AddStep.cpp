// SPDX-License-Identifier: MIT
#include "Registration/AddStep.h"

#include "Registration/CloudFolderDetector.h"

namespace quillbrook::AddStep {
namespace {

AddDecision registering(const FilePath& url, bool isDirectory) {
  if (isDirectory) return FolderToCount{url};
  return FileToRegister{url};
}

}  // namespace

AddDecision decide(const FilePath& url, std::optional<ItemKind> found, const FilePath& home) {
  if (!found) return LocationMissing{url};
  const bool isDirectory = *found == ItemKind::folder;
  if (const auto service = CloudFolderDetector::detect(url, home)) {
    return PendingCloudWarning{UUID::random(), url, *service, isDirectory};
  }
  return registering(url, isDirectory);
}

AddDecision afterWarning(const PendingCloudWarning& warning) {
  return registering(warning.url, warning.isDirectory);
}

}  // namespace quillbrook::AddStep
