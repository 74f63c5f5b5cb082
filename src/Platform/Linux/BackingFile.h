// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "Container/ContainerReader.h"
#include "Container/ContainerState.h"
#include "Platform/ErrorNumber.h"
#include "Platform/Linux/DescriptorSource.h"
#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {

// The logical content of one open inode, whatever holds it: the inode itself, its container, or the redo copy that its
// state names. Immutable once made; any number of threads may read at once, each with a scratch of its own.
class BackingFile {
 public:
  // `file` is a regular file open for reading. A redo copy is looked for in the private folder of `folder` and of each
  // folder above it: give the folder that the file lies in, or the volume's source.
  // `inputOutput` for a damaged state or container and for a missing redo copy, `notSupported` for types that nobody
  // here can decode, `stale` if a daemon has turned the file back meanwhile.
  [[nodiscard]] static Result<std::unique_ptr<const BackingFile>> open(FileDescriptor file, int folder);

  // The inode itself, raw.
  [[nodiscard]] int descriptor() const { return file_.get(); }
  [[nodiscard]] const std::optional<ContainerState>& state() const { return state_; }
  // Whether reads are answered by decoding a container; if not, contentDescriptor() has the content as it is.
  [[nodiscard]] bool isContainer() const { return reader_ != nullptr; }
  [[nodiscard]] int contentDescriptor() const { return redo_.isOpen() ? redo_.get() : file_.get(); }

  // The logical size; an ordinary file's as it is now.
  [[nodiscard]] Result<std::uint64_t> byteCount() const;
  // Fills as much of `destination` as there is from `offset` on; less than its size only at the end. `stale` if the
  // content stands in another form by now.
  [[nodiscard]] Result<std::size_t> read(std::uint64_t offset, std::span<std::uint8_t> destination,
                                         ContainerReader::Scratch& scratch) const;

 private:
  BackingFile(FileDescriptor file, const std::optional<ContainerState>& state);

  [[nodiscard]] ErrorNumber reason(ErrorNumber error) const;

  FileDescriptor file_;
  FileDescriptor redo_;
  std::optional<ContainerState> state_;
  DescriptorSource source_;
  std::unique_ptr<const ContainerReader> reader_;
};

}  // namespace quillbrook
