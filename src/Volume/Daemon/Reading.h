// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "Platform/Linux/BackingFile.h"
#include "Platform/Mutex.h"

namespace quillbrook {

// What readers of one file share: its content, and scratch space for decoding.
class Reading {
 public:
  explicit Reading(std::unique_ptr<const BackingFile> file) : file_(std::move(file)) {}

  [[nodiscard]] const BackingFile& file() const { return *file_; }
  [[nodiscard]] Result<std::size_t> read(std::uint64_t offset, std::span<std::uint8_t> destination);

 private:
  std::unique_ptr<const BackingFile> file_;
  Mutex mutex_;
  std::vector<ContainerReader::Scratch> idle_ QB_GUARDED_BY(mutex_);
};

}  // namespace quillbrook
