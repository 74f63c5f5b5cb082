// SPDX-License-Identifier: MIT
#include "Registration/CloudService.h"

namespace quillbrook {

std::string_view rawValue(CloudService service) {
  switch (service) {
    case CloudService::iCloudDrive: return "iCloudDrive";
    case CloudService::dropbox: return "dropbox";
    case CloudService::oneDrive: return "oneDrive";
    case CloudService::googleDrive: return "googleDrive";
    case CloudService::fileProviderGeneric: break;
  }
  return "fileProviderGeneric";
}

std::string_view displayName(CloudService service) {
  switch (service) {
    case CloudService::iCloudDrive: return "iCloud Drive";
    case CloudService::dropbox: return "Dropbox";
    case CloudService::oneDrive: return "OneDrive";
    case CloudService::googleDrive: return "Google Drive";
    case CloudService::fileProviderGeneric: break;
  }
  return "クラウドストレージ";
}

}  // namespace quillbrook
