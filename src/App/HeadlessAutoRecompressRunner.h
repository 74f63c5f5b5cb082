// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <stop_token>
#include <vector>

#include "Models/RegisteredItem.h"
#include "Models/StoreContainer.h"
#include "Platform/FilePath.h"
#include "Platform/FileSystem.h"
#include "Platform/Timestamp.h"

namespace quillbrook {

// The unattended run: everything that is registered is walked, what is uncompressed and has been left alone for half an
// hour is compressed, one file after the other. Only reads the store. Belongs to one thread, which it blocks.
class HeadlessAutoRecompressRunner {
 public:
  // What it touches besides the store.
  struct Surroundings {
    std::ostream& out;
    std::ostream& err;
    FileSystem& fileSystem = FileSystem::native();
    std::function<Timestamp()> now = Timestamp::now;
    std::stop_token stop;  // between two files, or within one that is then left as it was, ends the run
  };

  HeadlessAutoRecompressRunner(StoreContainer container, Surroundings surroundings);

  // The process's exit code: 1 if the registry could not be read or any file failed, else 0.
  [[nodiscard]] int run();
  // Whether the last run was stopped before its end: then it has no summary.
  [[nodiscard]] bool wasStopped() const { return wasStopped_; }

 private:
  struct Counters {
    std::int64_t candidates = 0;
    std::int64_t succeeded = 0;
    std::int64_t failed = 0;
    std::int64_t skippedAlreadyCompressed = 0;
    std::int64_t skippedNoShrink = 0;
    std::int64_t savedBytes = 0;
  };

  [[nodiscard]] bool mustStop();
  void runItem(const RegisteredItem& item);
  [[nodiscard]] std::vector<FilePath> filesOf(const RegisteredItem& item, const FilePath& url);
  [[nodiscard]] bool mayTouch(const FilePath& file) const;
  void compress(const FilePath& file);
  void printSummary(double seconds) const;

  StoreContainer container_;
  Surroundings surroundings_;
  Timestamp cutoff_;
  Counters counters_;
  bool wasStopped_ = false;
};

}  // namespace quillbrook
