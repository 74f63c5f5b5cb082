// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <string>
#include <variant>
#include <vector>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Volume/Administration/FolderUsers.h"

namespace quillbrook {

// Why something asked of a volume was not done. Nothing has been changed unless a case says so.
namespace VolumeErrors {

struct NotAFolder {
  FilePath path;
  ErrorNumber reason;
  friend bool operator==(const NotAFolder&, const NotAFolder&) = default;
};
// The folder lies in a volume, or a volume lies in it.
struct Nested {
  FilePath folder;
  FilePath volume;
  bool isInside = false;
  friend bool operator==(const Nested&, const Nested&) = default;
};
// What the system or the volume itself needs lies there: `--force` lifts this one.
struct Protected {
  FilePath folder;
  FilePath needed;   // the folder itself, or what lies in it
  std::string what;  // "a system folder", "your home folder", "where running programs keep their sockets"
  friend bool operator==(const Protected&, const Protected&) = default;
};
struct NotMounted {
  FilePath folder;
  friend bool operator==(const NotMounted&, const NotMounted&) = default;
};
// The mount was made by somebody else, who alone (and root) may end it.
struct ForeignMount {
  FilePath folder;
  std::uint32_t owner = 0;
  friend bool operator==(const ForeignMount&, const ForeignMount&) = default;
};
// A daemon serves the folder, here or elsewhere, or somebody else changes it without one.
struct Served {
  FilePath folder;
  friend bool operator==(const Served&, const Served&) = default;
};
// What a volume keeps there is another user's: it would be obeyed.
struct ForeignPrivateFolder {
  FilePath folder;
  friend bool operator==(const ForeignPrivateFolder&, const ForeignPrivateFolder&) = default;
};
// Its volume was unmounted, and the daemon still serves those who had files open.
struct Ending {
  FilePath folder;
  friend bool operator==(const Ending&, const Ending&) = default;
};
// It is mounted, but not as it was asked for.
struct MountedOtherwise {
  FilePath folder;
  std::string how;  // "read-only": fits behind "it is mounted already, "
  friend bool operator==(const MountedOtherwise&, const MountedOtherwise&) = default;
};
// Something is mounted in the volume, which therefore cannot be unmounted.
struct MountInside {
  FilePath folder;
  FilePath inner;
  friend bool operator==(const MountInside&, const MountInside&) = default;
};
// /dev/fuse or fusermount3 is missing or closed.
struct FuseUnavailable {
  std::string what;    // "/dev/fuse is missing"
  std::string remedy;  // what to do, a sentence
  ErrorNumber reason;
  friend bool operator==(const FuseUnavailable&, const FuseUnavailable&) = default;
};
struct DaemonMissing {
  std::vector<FilePath> searched;
  friend bool operator==(const DaemonMissing&, const DaemonMissing&) = default;
};
// The daemon ended by itself, before the mount stood or later; `words` is what it wrote, if that was taken up.
struct DaemonFailed {
  FilePath folder;
  int exitCode = 0;  // 128 + signal if one ended it
  std::string words;
  bool hadMounted = false;
  friend bool operator==(const DaemonFailed&, const DaemonFailed&) = default;
};
// Processes use the folder; for mounting only those count that have a file open for writing.
struct InUse {
  FilePath folder;
  std::vector<FolderUser> users;   // may be empty when the caller may not see them
  bool clearedStaleMount = false;  // a mount whose daemon had died was taken away before they were found
  friend bool operator==(const InUse&, const InUse&) = default;
};
// A program that was asked to do something (fusermount3, systemctl) failed; `words` is what it wrote.
struct HelperFailed {
  std::string command;
  int exitCode = 0;
  std::string words;
  friend bool operator==(const HelperFailed&, const HelperFailed&) = default;
};
struct SystemFailure {
  std::string action;  // "read", "open": fits behind "could not"
  FilePath path;
  ErrorNumber reason;
  friend bool operator==(const SystemFailure&, const SystemFailure&) = default;
};
// The folder lies in a mounted volume that nobody serves any more.
struct DaemonDied {
  FilePath folder;
  friend bool operator==(const DaemonDied&, const DaemonDied&) = default;
};
// The stop token was set. Nothing is half done.
struct Stopped {
  friend bool operator==(const Stopped&, const Stopped&) = default;
};

}  // namespace VolumeErrors

using VolumeError =
    std::variant<VolumeErrors::NotAFolder, VolumeErrors::Nested, VolumeErrors::Protected, VolumeErrors::NotMounted,
                 VolumeErrors::ForeignMount, VolumeErrors::Served, VolumeErrors::Ending,
                 VolumeErrors::ForeignPrivateFolder, VolumeErrors::MountedOtherwise, VolumeErrors::MountInside,
                 VolumeErrors::FuseUnavailable, VolumeErrors::DaemonMissing, VolumeErrors::DaemonFailed,
                 VolumeErrors::InUse, VolumeErrors::HelperFailed, VolumeErrors::SystemFailure, VolumeErrors::DaemonDied,
                 VolumeErrors::Stopped>;

// A SystemFailure, ready to be returned.
[[nodiscard]] std::unexpected<VolumeError> systemFailure(std::string action, const FilePath& path, ErrorNumber reason);

// The case and its payload: `notMounted(folder: /home/a/b)`.
[[nodiscard]] std::string describe(const VolumeError& error);

// For the person: what failed, what to do, the system's words. Ends with a full stop; may hold line feeds where it
// lists processes.
[[nodiscard]] std::string sentence(const VolumeError& error);

// "4711 (vim), writing /home/a/b/c", one process, for lists and warnings.
[[nodiscard]] std::string sentence(const FolderUser& user);

}  // namespace quillbrook
