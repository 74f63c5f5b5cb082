// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <optional>

#include "Platform/ErrorNumber.h"
#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {

// A regular file that its owner's own permissions may have closed: they are opened for as long as this lives, since
// changing an attribute of ours asks for them each time. A crash leaves them open, for the owner alone.
class OwnedFile {
 public:
  // `name` in `folder`, no link, with `flags` of open(2). `inputOutput` if it is no regular file.
  [[nodiscard]] static Result<OwnedFile> open(int folder, const char* name, int flags);

  ~OwnedFile();
  OwnedFile(OwnedFile&& other) noexcept;
  OwnedFile& operator=(OwnedFile&&) = delete;
  OwnedFile(const OwnedFile&) = delete;
  OwnedFile& operator=(const OwnedFile&) = delete;

  [[nodiscard]] int get() const { return file_.get(); }

 private:
  OwnedFile(FileDescriptor file, std::optional<mode_t> mode);

  FileDescriptor file_;
  std::optional<mode_t> mode_;  // to put back
};

}  // namespace quillbrook
