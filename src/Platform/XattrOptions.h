// SPDX-License-Identifier: MIT
#pragma once

namespace quillbrook {

// Options of the attribute calls.
struct XattrOptions {
  bool noFollow = false;         // act on a symbolic link itself
  bool showCompression = false;  // see com.apple.decmpfs and com.apple.ResourceFork of a compressed file
  friend bool operator==(const XattrOptions&, const XattrOptions&) = default;
};

}  // namespace quillbrook
