// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Platform/FileReader.h"
#include "Platform/FileStatus.h"
#include "Platform/FileWriter.h"
#include "Platform/LockableFile.h"
#include "Platform/XattrOptions.h"

namespace quillbrook {

// The operations that the engine asks of its platform, one to one, with the platform's semantics. Error numbers are
// the host's own. Paths may be relative; a final symbolic link is followed only where it says so.
// Any thread may call any operation; the objects that it returns belong to one thread at a time.
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // The real one. Lives as long as the process.
  static FileSystem& native();

  [[nodiscard]] virtual Result<FileStatus> lstat(const FilePath& path) = 0;
  // Owner and group; -1 (all bits set) leaves one alone. Follows a final link, like chmod and chflags below.
  [[nodiscard]] virtual Result<void> chown(const FilePath& path, std::uint32_t owner, std::uint32_t group) = 0;
  // `mode` from 0 to 07777.
  [[nodiscard]] virtual Result<void> chmod(const FilePath& path, std::uint32_t mode) = 0;
  // Replaces all flags. Setting UF_COMPRESSED seals the payload that was written before; it is refused with
  // `notSupported` outside a volume, with `noSpace` when an attribute did not fit the file before. Flags of the
  // super-user's half answer `notPermitted`.
  [[nodiscard]] virtual Result<void> chflags(const FilePath& path, std::uint32_t flags) = 0;
  // utimensat on the path itself.
  [[nodiscard]] virtual Result<void> setFileTimes(const FilePath& path, Timestamp access, Timestamp modification) = 0;
  // setattrlist with the creation time alone.
  [[nodiscard]] virtual Result<void> setCreationTime(const FilePath& path, Timestamp creation) = 0;

  // Extended attributes, under the platform's names. A `value` without storage (data() is null) asks for the length;
  // with storage too small the call fails as the host's does. `attributeMissing` if there is none of that name.
  [[nodiscard]] virtual Result<std::size_t> getxattr(const FilePath& path, std::string_view name,
                                                     std::span<std::uint8_t> value, XattrOptions options) = 0;
  [[nodiscard]] virtual Result<void> setxattr(const FilePath& path, std::string_view name,
                                              std::span<const std::uint8_t> value, XattrOptions options) = 0;
  [[nodiscard]] virtual Result<void> removexattr(const FilePath& path, std::string_view name, XattrOptions options) = 0;
  // The names, each ended by a zero byte. `names` without storage asks for the length. Neither the compression
  // attributes of a compressed file (without the option) nor ACLs are listed.
  [[nodiscard]] virtual Result<std::size_t> listxattr(const FilePath& path, std::span<char> names,
                                                      XattrOptions options) = 0;
  // acl_get_file on the source and acl_set_file on the destination; a source without one is no failure.
  [[nodiscard]] virtual Result<void> copyACL(const FilePath& source, const FilePath& destination) = 0;

  // open with O_WRONLY, O_CREAT, O_EXCL and O_NOFOLLOW. What a file must have from birth on (the host's no-dump,
  // no-atime, synchronous and no-copy-on-write flags) comes from `like`, the file that it will stand in for.
  [[nodiscard]] virtual Result<std::unique_ptr<FileWriter>> createExclusively(const FilePath& path, std::uint32_t mode,
                                                                              const FilePath& like) = 0;
  // The path with "/..namedfork/rsrc", opened with O_WRONLY, O_CREAT and O_TRUNC: the same storage as the attribute
  // com.apple.ResourceFork.
  [[nodiscard]] virtual Result<std::unique_ptr<FileWriter>> openResourceFork(const FilePath& path) = 0;
  // The logical bytes; follows a final link.
  [[nodiscard]] virtual Result<std::unique_ptr<FileReader>> openForReading(const FilePath& path) = 0;
  // open with O_RDONLY, for LockableFile::flock; `stale` if the path leads elsewhere by now.
  [[nodiscard]] virtual Result<std::unique_ptr<LockableFile>> openForLocking(const FilePath& path) = 0;

  // Puts `work` in the place of `target`, in one step for every other program, once its data have reached the disk.
  // `expected` is what lstat said of the target that may be replaced, `lock` the lock on it, of this file system;
  // `stale` if the target is another file by now or is open for writing. On failure both names are as they were, but
  // for `notRecoverable`: then `work` names what stood at the target, and must be left alone.
  [[nodiscard]] virtual Result<void> rename(const FilePath& work, const FilePath& target, const FileStatus& expected,
                                            const LockableFile& lock) = 0;
  [[nodiscard]] virtual Result<void> unlink(const FilePath& path) = 0;
};

}  // namespace quillbrook
