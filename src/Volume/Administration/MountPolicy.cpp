// SPDX-License-Identifier: MIT
#include "Volume/Administration/MountPolicy.h"

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/InstalledProgram.h"
#include "Platform/Linux/MountTable.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeNesting.h"
#include "Platform/StandardFolders.h"
#include "Volume/Administration/DaemonProgram.h"
#include "Volume/Expansion/SourceLock.h"

namespace quillbrook {
namespace {

// How far below a system folder the system's own things reach.
enum class Reach { itself, children, everything };

struct SystemFolder {
  std::string_view path;
  Reach reach;
};

constexpr auto systemFolders = std::to_array<SystemFolder>({
    {"/", Reach::itself},
    {"/bin", Reach::everything},
    {"/boot", Reach::everything},
    {"/dev", Reach::children},
    {"/efi", Reach::everything},
    {"/etc", Reach::everything},
    {"/home", Reach::itself},
    {"/lib", Reach::everything},
    {"/lib32", Reach::everything},
    {"/lib64", Reach::everything},
    {"/libx32", Reach::everything},
    {"/lost+found", Reach::everything},
    {"/media", Reach::itself},
    {"/mnt", Reach::itself},
    {"/opt", Reach::itself},
    {"/proc", Reach::everything},
    {"/root", Reach::itself},
    {"/run", Reach::children},
    {"/sbin", Reach::everything},
    {"/snap", Reach::everything},
    {"/srv", Reach::itself},
    {"/sys", Reach::everything},
    {"/tmp", Reach::itself},
    {"/usr", Reach::children},
    {"/usr/bin", Reach::everything},
    {"/usr/lib", Reach::everything},
    {"/usr/lib32", Reach::everything},
    {"/usr/lib64", Reach::everything},
    {"/usr/libexec", Reach::everything},
    {"/usr/sbin", Reach::everything},
    {"/usr/share", Reach::children},
    {"/var", Reach::children},
    {"/var/lib/systemd", Reach::everything},
});

bool isReached(const SystemFolder& system, const FilePath& folder) {
  const FilePath place{std::string(system.path)};
  switch (system.reach) {
    case Reach::itself: return folder == place;
    case Reach::children: return folder == place || folder.parent() == place;
    case Reach::everything: return FolderPath::contains(place, folder);
  }
  return false;
}

FilePath resolved(const FilePath& path) {
  return FolderPath::resolve(path).value_or(path);
}

std::optional<VolumeErrors::Protected> protection(const FilePath& folder, const MountSurroundings& surroundings) {
  if (!surroundings.home.empty() && folder == surroundings.home) {
    return VolumeErrors::Protected{.folder = folder, .needed = folder, .what = "your home folder"};
  }
  for (const SystemFolder& system : systemFolders) {
    if (!isReached(system, folder)) continue;
    return VolumeErrors::Protected{.folder = folder, .needed = folder, .what = "a system folder"};
  }
  struct Need {
    FilePath path;
    std::string_view what;
    bool isWhole;  // whatever lies in it is needed as well
  };
  std::vector<Need> needs{
      {surroundings.home, "your home folder", false},
      {resolved(surroundings.home.appending(".ssh")), "what you log in with", true},
      {resolved(surroundings.configuration.appending("systemd")), "what starts the volume", true},
      {resolved(surroundings.configuration.appending("Quillbrook")), "where Quillbrook keeps its settings", true},
      {resolved(surroundings.data.appending("Quillbrook")), "where Quillbrook keeps its store", true},
      {resolved(surroundings.state.appending("Quillbrook")), "where Quillbrook keeps its logs", true},
      {surroundings.runtime, "where running programs keep their sockets", false},
  };
  for (const FilePath& home : surroundings.otherHomes) needs.push_back({home, "somebody's home folder", false});
  for (const FilePath& program : surroundings.programs)
    needs.push_back({program, "where Quillbrook's programs lie", false});
  for (const Need& need : needs) {
    if (!need.path.bytes().starts_with('/')) continue;  // the environment did not tell
    if (FolderPath::contains(folder, need.path) || (need.isWhole && FolderPath::contains(need.path, folder))) {
      return VolumeErrors::Protected{.folder = folder, .needed = need.path, .what = std::string(need.what)};
    }
  }
  return std::nullopt;
}

// Services have folders in the database too, which are no homes.
Result<std::vector<FilePath>> homesOfPeople() {
  constexpr uid_t firstPerson = 1000;
  constexpr uid_t nobody = 65'534;
  std::vector<FilePath> homes;
  std::vector<char> strings(1024);
  int failure = 0;
  ::setpwent();
  for (;;) {
    passwd entry{};
    passwd* found = nullptr;
    failure = ::getpwent_r(&entry, strings.data(), strings.size(), &found);
    if (failure == ERANGE) {
      strings.resize(2 * strings.size());
      continue;
    }
    if (failure != 0) break;
    const bool isPerson = entry.pw_uid == 0 || (entry.pw_uid >= firstPerson && entry.pw_uid != nobody);
    FilePath home = resolved(FilePath(entry.pw_dir));
    if (isPerson && home != FilePath("/")) homes.push_back(std::move(home));
  }
  ::endpwent();
  if (failure != ENOENT) return std::unexpected(ErrorNumber{failure});  // that one is the end
  return homes;
}

}  // namespace

Result<MountSurroundings> MountSurroundings::current() {
  MountSurroundings surroundings;
  surroundings.home = resolved(StandardFolders::home());
  surroundings.configuration = resolved(StandardFolders::configuration());
  surroundings.data = resolved(StandardFolders::data());
  surroundings.state = resolved(StandardFolders::state());
  if (const auto runtime = StandardFolders::runtime()) surroundings.runtime = resolved(*runtime);
  auto homes = homesOfPeople();
  if (!homes) return std::unexpected(homes.error());
  surroundings.otherHomes = std::move(*homes);
  surroundings.programs.push_back(InstalledProgram::ownFolder());
  if (const auto daemon = DaemonProgram::find()) surroundings.programs.push_back(daemon->parent());
  return surroundings;
}

std::expected<void, VolumeError> MountPolicy::checkNesting(const FilePath& folder,
                                                           const std::vector<MountedVolume>& volumes) {
  const auto table = MountTable::read();
  if (!table) return MountedVolumes::failure(table.error());
  for (const MountedVolume& mount : volumes) {
    if (mount.mountPoint == folder) continue;
    if (mount.source == folder) return std::unexpected(VolumeErrors::Served{folder});
    if (const auto nesting = VolumeNesting::find(folder, mount.mountPoint, mount.source, *table)) {
      return std::unexpected(
          VolumeErrors::Nested{.folder = folder, .volume = nesting->place, .isInside = nesting->isInside});
    }
  }
  return {};
}

std::expected<void, VolumeError> MountPolicy::checkProtection(const FilePath& folder,
                                                              const MountSurroundings& surroundings) {
  if (auto refusal = protection(folder, surroundings)) return std::unexpected(std::move(*refusal));
  return {};
}

std::expected<void, VolumeError> MountPolicy::admit(const FilePath& folder, bool force) {
  const auto opened = SystemCall::openAt(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY);
  if (!opened) return std::unexpected(VolumeErrors::NotAFolder{folder, opened.error()});
  const auto volumes = MountedVolumes::read();
  if (!volumes) return MountedVolumes::failure(volumes.error());
  auto apart = checkNesting(folder, *volumes);
  if (!apart || force) return apart;
  const auto surroundings = MountSurroundings::current();
  if (!surroundings) return systemFailure("read", FilePath("the user database"), surroundings.error());
  return checkProtection(folder, *surroundings);
}

std::unexpected<VolumeError> MountPolicy::writersIn(const FilePath& folder, std::vector<FolderUser> users,
                                                    bool clearedStaleMount) {
  // A daemon that was unmounted while files were open in it holds them, and its lock, until the last is closed.
  if (const auto source = SystemCall::openAt(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY)) {
    auto lock = SourceLock::acquire(source->get());
    if (!lock && lock.error() == ErrorNumber::wouldBlock) {
      return std::unexpected<VolumeError>(VolumeErrors::Ending{folder});
    }
    if (lock) lock->removePrivateFolder();
  }
  std::erase_if(users, [](const FolderUser& user) { return !user.writes; });
  return std::unexpected<VolumeError>(VolumeErrors::InUse{folder, std::move(users), clearedStaleMount});
}

}  // namespace quillbrook
