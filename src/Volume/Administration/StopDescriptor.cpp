// SPDX-License-Identifier: MIT
#include "Volume/Administration/StopDescriptor.h"

#include <sys/eventfd.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

Result<std::unique_ptr<const StopDescriptor>> StopDescriptor::open(std::stop_token stop) {
  FileDescriptor event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!event.isOpen()) return SystemCall::failure();
  return std::unique_ptr<const StopDescriptor>(new StopDescriptor(std::move(event), std::move(stop)));
}

StopDescriptor::StopDescriptor(FileDescriptor event, std::stop_token stop)
    : event_(std::move(event)), callback_(std::move(stop), Notify{event_.get()}) {}

void StopDescriptor::Notify::operator()() const {
  const std::uint64_t one = 1;
  // Fails only if the counter is full: readable as well.
  [[maybe_unused]] const ssize_t written = ::write(event, &one, sizeof one);
}

}  // namespace quillbrook
