// SPDX-License-Identifier: MIT
#include "Volume/Daemon/Content.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/WorkInProgress.h"
#include "Volume/Daemon/FileForm.h"
#include "Volume/Daemon/Inodes.h"
#include "Volume/Daemon/Names.h"
#include "Volume/Expansion/Expansion.h"

namespace quillbrook::Content {

namespace {

Result<FileDescriptor> reopen(int file, int flags) {
  FileDescriptor result(::open(SystemCall::pathOf(file).c_str(), flags | O_CLOEXEC));
  if (!result.isOpen()) return SystemCall::failure();
  return result;
}

bool isAppending(int file) {
  return (::fcntl(file, F_GETFL) & O_APPEND) != 0;
}

// Whether an operation is making it what another file will be: what anybody wrote to it would be that file's content.
bool isWorkFile(Volume& volume, const Node& node, int file) {
  const auto isNamedSo = [](const Node::Link& link) { return Names::isTransient(link.name); };
  return std::ranges::any_of(volume.nodes.whereabouts(node).links, isNamedSo) && WorkInProgress::isMarked(file);
}

// Turns whatever form into the ordinary one; into an empty file if `truncates`.
Result<void> makeOrdinary(Volume& volume, int writing, const FileForm& form, bool truncates) {
  auto file = reopen(writing, O_RDWR);
  if (!file) return std::unexpected(file.error());
  const int source = volume.source.descriptor->get();
  if (truncates) return Expansion::expandToNothing(file->get(), form.state.value_or(ContainerState{}));
  if (form.isDamaged) return std::unexpected(ErrorNumber::inputOutput);
  // A crash came while it was being emptied.
  if (form.state->isUnderConstruction()) return Expansion::expandToNothing(file->get(), *form.state);
  if (form.state->redoIdentifier != 0) return Expansion::finish(source, file->get(), *form.state);
  return Expansion::expand(source, file->get(), *form.state);
}

Result<std::unique_ptr<const BackingFile>> openContent(Volume& volume, Node& node) {
  auto file = Inodes::open(volume, node, O_RDONLY);
  if (!file) return std::unexpected(file.error());
  return BackingFile::open(std::move(*file), volume.source.descriptor->get());
}

// An expansion that a crash interrupted is completed when somebody reads the file; whether that could be done.
bool finishInterrupted(Volume& volume, Node& node, const ContainerState& state) {
  if (volume.options.readOnly) return false;
  const auto file = Inodes::open(volume, node, O_RDWR);
  return file && Expansion::finish(volume.source.descriptor->get(), file->get(), state);
}

}  // namespace

Result<void> prepareWriting(Volume& volume, Node& node, OpenFile& open, int flags, uid_t caller) {
  const bool truncates = (flags & O_TRUNC) != 0;
  FileDescriptor fresh;
  if (open.writing.isOpen()) {
    if ((flags & O_APPEND) == 0 && isAppending(open.writing.get())) return std::unexpected(ErrorNumber::notPermitted);
  } else {
    auto file = Inodes::open(volume, node, O_WRONLY);
    // An append-only file is opened in no other way, not even by root.
    if (!file && file.error() == ErrorNumber::notPermitted && (flags & O_APPEND) != 0) {
      file = Inodes::open(volume, node, O_WRONLY | O_APPEND);
    }
    if (!file) return std::unexpected(file.error());
    fresh = std::move(*file);
    if (isWorkFile(volume, node, fresh.get())) return std::unexpected(ErrorNumber::busy);
    // A file with a writing descriptor is ordinary already: nothing but a replacement changes that, and none happens
    // while one is open.
    if (const FileForm form = FileForm::of(fresh.get()); !form.isOrdinary()) {
      // Readers' content is another one from here on, whether or not this succeeds.
      open.reading.reset();
      const auto done = makeOrdinary(volume, fresh.get(), form, truncates);
      volume.kernel.forgetAttributes(volume.number(node));
      if (!done) return done;
    }
  }
  const int file = fresh.isOpen() ? fresh.get() : open.writing.get();
  if (truncates) {
    if (ftruncate(file, 0) != 0) return SystemCall::failure();
    if (const auto done = dropSetIdentifiers(volume, file, caller); !done) return done;
  }
  if (fresh.isOpen()) open.writing = std::move(fresh);
  return {};
}

Result<void> prepareReading(Volume& volume, Node& node, OpenFile& open) {
  if (open.reading) return {};
  auto content = openContent(volume, node);
  if (!content) return std::unexpected(content.error());
  // If it cannot be completed now, the redo copy is read.
  if (const auto state = (*content)->state();
      state && state->redoIdentifier != 0 && finishInterrupted(volume, node, *state)) {
    content = openContent(volume, node);
    if (!content) return std::unexpected(content.error());
  }
  open.reading = std::make_unique<Reading>(std::move(*content));
  return {};
}

Result<void> truncate(Volume& volume, Node& node, off_t byteCount, uid_t caller) {
  OpenFile own;
  OpenFile& open = node.open ? *node.open : own;
  const bool wasWriting = open.writing.isOpen();
  if (const auto done = prepareWriting(volume, node, open, byteCount == 0 ? O_TRUNC : 0, caller); !done) return done;
  Result<void> done;
  if (byteCount != 0) {
    done = SystemCall::checked([&] { return ftruncate(open.writing.get(), byteCount); });
    if (done) done = dropSetIdentifiers(volume, open.writing.get(), caller);
  }
  if (!wasWriting) open.writing.reset();
  return done;
}

Result<void> dropSetIdentifiers(const Volume& volume, int file, uid_t caller) {
  // The host does it by itself for a daemon that may not keep them, and for nobody who may.
  if (!volume.isPrivileged || caller == 0) return {};
  struct stat status{};
  if (fstat(file, &status) != 0) return SystemCall::failure();
  if (!S_ISREG(status.st_mode) || (status.st_mode & (S_ISUID | S_ISGID)) == 0) return {};
  // A change of owner that changes none: the kernel takes the bits off the mode as it is then, so a chmod by somebody
  // else meanwhile is not undone.
  return SystemCall::checked([&] { return fchown(file, static_cast<uid_t>(-1), static_cast<gid_t>(-1)); });
}

}  // namespace quillbrook::Content
