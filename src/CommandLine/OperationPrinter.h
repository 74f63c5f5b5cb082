// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "CommandLine/Command.h"
#include "CommandLine/Io.h"
#include "CommandLine/KindTotals.h"
#include "CommandLine/OperationTotals.h"
#include "CommandLine/ProcessedFile.h"
#include "CommandLine/ProgressMeter.h"
#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// Prints what comes out of a run, keeps the counts and closes with the summary. Used by one thread.
class OperationPrinter {
 public:
  OperationPrinter(const OperationCommand& command, Io& io) : command_(command), io_(io) {}

  void print(const ProcessedFile& file);
  void printUnreadable(const FilePath& folder, ErrorNumber error);
  void printOtherFileSystem(const FilePath& folder);
  // Draws the progress bar over the one before. Only on a terminal.
  void drawProgress(const ProgressMeter& meter);
  void drawCounting();

  void printSummary(std::chrono::duration<double> time, bool wasStopped);

  [[nodiscard]] bool hasFailures() const { return totals_.failed > 0 || unreadableFolders_ > 0; }

 private:
  using CountByCase = std::map<std::string, std::uint64_t>;

  void printFailure(const ProcessedFile& file, const RefusedFile& refused);
  void printKinds();
  void printCounts(std::string_view word, std::uint64_t count, const CountByCase& cases);
  // Takes the bar away, so that a line can stand in its place.
  void clearBar();

  const OperationCommand& command_;
  Io& io_;
  OperationTotals totals_;
  KindTotals kinds_;
  CountByCase skippedByCase_;
  CountByCase failedByCase_;
  std::uint64_t passedOver_ = 0;
  std::uint64_t unreadableFolders_ = 0;
  bool sawOutsideVolume_ = false;
  bool isBarShown_ = false;
};

}  // namespace quillbrook
