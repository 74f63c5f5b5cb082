// SPDX-License-Identifier: MIT

#include "Registration/AddStep.h"
#include "Registration/CloudFolderDetector.h"
#include "Support/Prelude.h"

namespace quillbrook {
namespace {

TEST(CloudFolderDetector, KnowsAServiceByWhereItsFolderLies) {
  const std::vector<std::pair<std::string, std::optional<CloudService>>> cases{
      {"/home/u/Library/Mobile Documents", CloudService::iCloudDrive},
      {"/home/u/Library/Mobile Documents/a/b", CloudService::iCloudDrive},
      {"/home/u/Library/Mobile DocumentsX", std::nullopt},
      {"/home/u/Library/CloudStorage", std::nullopt},
      {"/home/u/Library/CloudStorage/", std::nullopt},
      {"/home/u/Library/CloudStorage/Dropbox-Personal/a", CloudService::dropbox},
      {"/home/u/Library/CloudStorage/DROPBOX", CloudService::dropbox},
      {"/home/u/Library/CloudStorage//OneDrive-Work/a/", CloudService::oneDrive},
      {"/home/u/Library/CloudStorage/GoogleDrive-Mine/a", CloudService::googleDrive},
      {"/home/u/Library/CloudStorage/Box-Box/a", CloudService::fileProviderGeneric},
      {"/home/u/Library/CloudStorage/My-Dropbox/a", CloudService::fileProviderGeneric},
      {"/home/u/Library/CloudStorage/\xFF/dropbox", CloudService::fileProviderGeneric},
      {"/home/u/Library/CloudStorageX/Dropbox", std::nullopt},
      {"/home/u/Dropbox", CloudService::dropbox},
      {"/home/u/Dropbox/", CloudService::dropbox},
      {"/home/u/x/../Dropbox/a", CloudService::dropbox},
      {"/home/u/DropboxOld", std::nullopt},
      {"/home/u/dropbox", std::nullopt},
      {"/home/u/OneDrive", std::nullopt},
      {"/home/u/Google Drive/a", std::nullopt},
      {"/home/v/Dropbox/a", std::nullopt},
      {"/home/u", std::nullopt},
      {"/", std::nullopt},
  };
  for (const auto& [path, expected] : cases) {
    for (const char* home : {"/home/u", "/home/u/"}) {
      EXPECT_EQ(CloudFolderDetector::detect(FilePath(path), FilePath(home)), expected) << path;
    }
  }
  EXPECT_EQ(CloudFolderDetector::detect(FilePath("/Dropbox/a"), FilePath("/")), CloudService::dropbox);
}

TEST(AddStep, WarnsOnceThenCountsFoldersAndRegistersFiles) {
  const FilePath home("/home/u");
  const FilePath plain("/home/u/a");
  const FilePath cloud("/home/u/Dropbox/a");
  const auto warning = [&](bool isDirectory) {
    return PendingCloudWarning{UUID(), cloud, CloudService::dropbox, isDirectory};
  };
  const std::vector<std::tuple<FilePath, std::optional<ItemKind>, AddDecision>> cases{
      {plain, std::nullopt, LocationMissing{plain}},   {cloud, std::nullopt, LocationMissing{cloud}},
      {plain, ItemKind::folder, FolderToCount{plain}}, {plain, ItemKind::file, FileToRegister{plain}},
      {cloud, ItemKind::folder, warning(true)},        {cloud, ItemKind::file, warning(false)},
  };
  for (const auto& [url, found, expected] : cases) {
    AddDecision decision = AddStep::decide(url, found, home);
    if (auto* pending = std::get_if<PendingCloudWarning>(&decision)) {
      EXPECT_NE(pending->id, std::get<PendingCloudWarning>(AddStep::decide(url, found, home)).id);
      pending->id = UUID();
    }
    EXPECT_EQ(decision, expected) << url.bytes();
  }
  EXPECT_EQ(AddStep::afterWarning(warning(true)), AddDecision(FolderToCount{cloud}));
  EXPECT_EQ(AddStep::afterWarning(warning(false)), AddDecision(FileToRegister{cloud}));
}

}  // namespace
}  // namespace quillbrook
