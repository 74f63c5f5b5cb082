// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <string>
#include <variant>

#include "Models/StoreContainer.h"
#include "Models/StoreError.h"
#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// The folder that the store lies in could not be made.
struct StoreFolderError {
  FilePath folder;
  ErrorNumber reason;
  friend bool operator==(const StoreFolderError&, const StoreFolderError&) = default;
};

using ApplicationStoreError = std::variant<StoreFolderError, StoreError>;

// For people: what failed, what to do, and the system's words.
[[nodiscard]] std::string sentence(const ApplicationStoreError& error);

// The one store of the user: the window's, the unattended run's and the command line's.
namespace ApplicationStore {

// "store.sqlite" in the program's own folder of data, which is made if it is missing. Any thread.
[[nodiscard]] std::expected<StoreContainer, ApplicationStoreError> open();

}  // namespace ApplicationStore
}  // namespace quillbrook
