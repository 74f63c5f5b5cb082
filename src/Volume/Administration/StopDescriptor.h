// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <stop_token>

#include "Platform/ErrorNumber.h"
#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {

// A stop token as something that poll(2) can wait for. The stop may be requested in any thread.
class StopDescriptor {
 public:
  // Errors as of eventfd(2).
  [[nodiscard]] static Result<std::unique_ptr<const StopDescriptor>> open(std::stop_token stop);

  // Readable once the stop was requested.
  [[nodiscard]] int get() const { return event_.get(); }

 private:
  struct Notify {
    int event;
    void operator()() const;
  };

  StopDescriptor(FileDescriptor event, std::stop_token stop);

  FileDescriptor event_;
  std::stop_callback<Notify> callback_;
};

}  // namespace quillbrook
