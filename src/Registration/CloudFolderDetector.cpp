// SPDX-License-Identifier: MIT
#include "Registration/CloudFolderDetector.h"

#include <string>
#include <string_view>

#include "Registration/CanonicalPath.h"
#include "Registration/NameCase.h"

namespace quillbrook::CloudFolderDetector {
namespace {

bool liesBelow(const FilePath& path, const FilePath& base) {
  return path.bytes().starts_with(base.bytes() + '/');
}

bool isAtOrBelow(const FilePath& path, const FilePath& base) {
  return path == base || liesBelow(path, base);
}

// The service that a folder for many services keeps under this name, which begins with the service's and goes on with
// the account's.
CloudService serviceNamed(std::string_view name) {
  const std::string lowercased = NameCase::lowercased(name);
  if (lowercased.starts_with("dropbox")) return CloudService::dropbox;
  if (lowercased.starts_with("onedrive")) return CloudService::oneDrive;
  if (lowercased.starts_with("googledrive")) return CloudService::googleDrive;
  return CloudService::fileProviderGeneric;
}

}  // namespace

std::optional<CloudService> detect(const FilePath& url, const FilePath& home) {
  const FilePath path = canonicalPath(url);
  const FilePath base = canonicalPath(home);
  if (isAtOrBelow(path, base.appending("Library/Mobile Documents"))) return CloudService::iCloudDrive;
  // The folder for many services is none of them itself.
  const FilePath services = base.appending("Library/CloudStorage");
  if (liesBelow(path, services)) {
    const std::string_view below = std::string_view(path.bytes()).substr(services.bytes().size() + 1);
    return serviceNamed(below.substr(0, below.find('/')));
  }
  if (isAtOrBelow(path, base.appending("Dropbox"))) return CloudService::dropbox;
  return std::nullopt;
}

}  // namespace quillbrook::CloudFolderDetector
