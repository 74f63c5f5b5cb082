// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "Platform/FilePath.h"

namespace quillbrook {

// Access to a place for as long as it is worked on: what it lies on stays mounted. Ended by its destructor. Any thread.
class SecurityScope {
 public:
  SecurityScope();
  ~SecurityScope();
  SecurityScope(const SecurityScope&) = delete;
  SecurityScope& operator=(const SecurityScope&) = delete;
  SecurityScope(SecurityScope&&) noexcept;
  SecurityScope& operator=(SecurityScope&&) noexcept;

  // Whether access was granted; if not there is nothing to end, and no reason not to try.
  [[nodiscard]] bool start(const FilePath& url);
  void stop();

 private:
  struct Hold;
  std::unique_ptr<Hold> hold_;
};

}  // namespace quillbrook
