// SPDX-License-Identifier: MIT
#include "Volume/Daemon/SourceError.h"

#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook {

namespace {

struct Sentence {
  std::string operator()(const SourceErrors::NotAFolder& error) const {
    return error.path.displayText() +
           " cannot be served: give a folder that exists and that you may read: " + error.reason.text();
  }
  std::string operator()(const SourceErrors::Nested& error) const {
    return error.folder.displayText() + (error.isInside ? " lies inside" : " holds") + " the volume at " +
           error.volume.displayText() + ": unmount that one first";
  }
  std::string operator()(const SourceErrors::Served& error) const {
    return "another daemon serves " + error.folder.displayText() +
           ", or `quillbrookctl volume restore` is at work in it: end that one first";
  }
  std::string operator()(const SourceErrors::ForeignPrivateFolder& error) const {
    return error.folder.appending(VolumeProtocol::privateFolder).displayText() +
           " is no folder, another user's, or open to others: mount as its owner, or remove it if its redo copies are "
           "not "
           "needed";
  }
  std::string operator()(const SourceErrors::SystemFailure& error) const {
    const std::string_view advice =
        error.reason == ErrorNumber::readOnly ? " (--read-only mounts what cannot be written to)" : "";
    return "cannot " + error.action + " " + error.folder.displayText() + std::string(advice) + ": " +
           error.reason.text();
  }
};

}  // namespace

std::string sentence(const SourceError& error) {
  return std::visit(Sentence(), error);
}

}  // namespace quillbrook
