// SPDX-License-Identifier: MIT
#pragma once

#include "Models/UUID.h"
#include "Platform/FilePath.h"
#include "Registration/CloudService.h"

namespace quillbrook {

// A place whose registration waits until the user has read that a cloud service mirrors it.
struct PendingCloudWarning {
  UUID id;  // new for each, so that a second warning of the same place is another one
  FilePath url;
  CloudService service = CloudService::fileProviderGeneric;
  bool isDirectory = false;
  friend bool operator==(const PendingCloudWarning&, const PendingCloudWarning&) = default;
};

}  // namespace quillbrook
