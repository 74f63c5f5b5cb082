// SPDX-License-Identifier: MIT
#include "App/ApplicationStore.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "Platform/StandardFolders.h"

namespace quillbrook {

std::string sentence(const ApplicationStoreError& error) {
  if (const auto* store = std::get_if<StoreError>(&error)) return sentence(*store);
  const auto& folder = std::get<StoreFolderError>(error);
  return "the folder " + folder.folder.displayText() +
         " cannot be made; see to its permissions: " + folder.reason.text();
}

std::expected<StoreContainer, ApplicationStoreError> ApplicationStore::open() {
  const FilePath folder = StandardFolders::applicationSupport();
  std::error_code failure;
  std::filesystem::create_directories(folder.bytes(), failure);
  if (failure) return std::unexpected(StoreFolderError{folder, ErrorNumber{failure.value()}});
  auto container = makeStoreContainer(folder.appending("store.sqlite"));
  if (!container) return std::unexpected(std::move(container.error()));
  return *std::move(container);
}

}  // namespace quillbrook
