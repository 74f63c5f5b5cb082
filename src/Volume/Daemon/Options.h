// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Platform/FilePath.h"
#include "Volume/Daemon/OptionsError.h"

namespace quillbrook {

// What the volume daemon was asked to do.
struct Options {
  FilePath source;
  FilePath mountPoint;
  std::optional<int> deviceDescriptor;  // an open /dev/fuse that is mounted already
  bool foreground = false;
  bool readOnly = false;
  std::vector<std::string> mountOptions;  // for the mount itself, as "allow_other"
  friend bool operator==(const Options&, const Options&) = default;

  static constexpr const char* usage =
      "usage: quillbrook-volume [-f] [--fd N] [-o OPTION,...] SOURCE [MOUNTPOINT]\n"
      "Shows the folder SOURCE at MOUNTPOINT (by default in place of itself), compressed files as the ordinary files\n"
      "they are.\n"
      "  -f         stay in the foreground\n"
      "  --fd N     serve the mount whose /dev/fuse is open as descriptor N; so does the mount point /dev/fd/N\n"
      "  -o ...     options of the mount: ro, allow_other, noatime, ...\n";

  // From the arguments after the program's name.
  [[nodiscard]] static std::expected<Options, OptionsError> parse(std::span<const std::string> arguments);
};

}  // namespace quillbrook
