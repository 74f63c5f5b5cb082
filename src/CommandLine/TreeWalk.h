// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "CommandLine/Io.h"
#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Platform/FileStatus.h"

namespace quillbrook {

// A file that the walk came to.
struct TreeFile {
  FilePath path;
  bool isNamed = false;  // the root itself, named by the user, whatever it is; otherwise a regular file in a folder
  std::optional<FileStatus> status;  // as the walk saw it; not of one that is named or could not be looked at
};

// What the walk tells while it goes.
class TreeVisitor {
 public:
  virtual ~TreeVisitor() = default;
  // False stops the walk.
  [[nodiscard]] virtual bool visit(TreeFile file) = 0;
  // A folder could not be read, or not to its end: the walk goes on without the rest of it.
  virtual void unreadable(const FilePath& folder, ErrorNumber error) = 0;
  // A folder on another file system, which the walk does not enter.
  virtual void otherFileSystem(const FilePath& folder) = 0;
};

// Goes through everything below a path as the enumerator does, passes over what is neither a regular file nor a folder,
// and over work files: these are known by their name alone, since another worker may have made one a moment ago and not
// have marked it yet.
namespace TreeWalk {

// False if the visitor stopped it.
[[nodiscard]] bool walk(const FilePath& root, FileSystem& fileSystem, const OpenEnumerator& openEnumerator,
                        TreeVisitor& visitor);

}  // namespace TreeWalk
}  // namespace quillbrook
