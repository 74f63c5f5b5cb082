// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <optional>
#include <streambuf>

#include "Platform/ErrorNumber.h"

namespace quillbrook {

// The process's standard output behind a stream, which knows why it failed where std::cout does not. Belongs to one
// thread; the destructor writes what is left.
class StandardOutput final : public std::streambuf {
 public:
  StandardOutput();
  ~StandardOutput() override;
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;
  StandardOutput(StandardOutput&&) = delete;
  StandardOutput& operator=(StandardOutput&&) = delete;

  // The first failure; nothing is written behind it.
  [[nodiscard]] std::optional<ErrorNumber> failure() const { return failure_; }

 protected:
  int_type overflow(int_type character) override;
  int sync() override;

 private:
  std::array<char, 8'192> buffer_;
  std::optional<ErrorNumber> failure_;
};

}  // namespace quillbrook
