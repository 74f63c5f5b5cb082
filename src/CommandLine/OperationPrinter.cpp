// SPDX-License-Identifier: MIT
#include "CommandLine/OperationPrinter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <variant>
#include <vector>

#include "CommandLine/JsonLines.h"
#include "CommandLine/Outcome.h"
#include "CommandLine/PathText.h"
#include "CommandLine/SizeText.h"

namespace quillbrook {
namespace {

constexpr std::size_t shownKinds = 10;
constexpr std::string_view eraseLine = "\r\x1b[K";

std::string_view pastWord(OperationKind kind) {
  return kind == OperationKind::compress ? "compressed" : "decompressed";
}

std::string filesText(std::uint64_t count) {
  return fmt::format("{} {}", count, count == 1 ? "file" : "files");
}

}  // namespace

void OperationPrinter::print(const ProcessedFile& file) {
  if (std::holds_alternative<PassedOverFile>(file.ending)) {
    ++passedOver_;
    return;
  }
  if (const auto* result = std::get_if<CompressionResult>(&file.ending)) {
    ++totals_.done;
    totals_.bytesBefore += result->bytesBefore;
    totals_.bytesAfter += result->bytesAfter;
    kinds_.add(file.path, result->bytesBefore, result->bytesAfter);
  } else if (const auto* refused = std::get_if<RefusedFile>(&file.ending)) {
    const bool isFailure = OutcomeTable::outcome(command_.kind, refused->error) == Outcome::failed;
    ++(isFailure ? totals_.failed : totals_.skipped);
    const std::string label = refused->isAbandoned ? "stopped" : OutcomeTable::label(refused->error);
    ++(isFailure ? failedByCase_ : skippedByCase_)[label];
    if (isFailure) printFailure(file, *refused);
  }
  if (command_.json) {
    clearBar();
    io_.out << JsonLines::result(command_.kind, file) << '\n';
  }
}

void OperationPrinter::printFailure(const ProcessedFile& file, const RefusedFile& refused) {
  sawOutsideVolume_ = sawOutsideVolume_ || OutcomeTable::isOutsideVolume(refused.error);
  if (command_.json) return;  // the result line has it
  clearBar();
  io_.err << fmt::format("quillbrookctl: cannot {} {}: {}\n", name(command_.kind),
                         PathText::shown(file.path, io_.errIsTerminal),
                         PathText::shownMessage(OutcomeTable::sentence(refused), io_.errIsTerminal));
}

void OperationPrinter::printUnreadable(const FilePath& folder, ErrorNumber error) {
  ++unreadableFolders_;
  clearBar();
  io_.err << fmt::format(
      "quillbrookctl: cannot read the folder {}, and what it holds was left as it is; see to its permissions: {}\n",
      PathText::shown(folder, io_.errIsTerminal), error.text());
}

void OperationPrinter::printOtherFileSystem(const FilePath& folder) {
  clearBar();
  io_.err << fmt::format("quillbrookctl: {} is another file system and was left out; name it to {} what it holds\n",
                         PathText::shown(folder, io_.errIsTerminal), name(command_.kind));
}

void OperationPrinter::drawProgress(const ProgressMeter& meter) {
  io_.err << eraseLine << meter.line(io_.width) << std::flush;
  isBarShown_ = true;
}

void OperationPrinter::drawCounting() {
  io_.err << eraseLine << "counting files" << std::flush;
  isBarShown_ = true;
}

void OperationPrinter::clearBar() {
  if (!isBarShown_) return;
  io_.err << eraseLine << std::flush;
  isBarShown_ = false;
}

void OperationPrinter::printSummary(std::chrono::duration<double> time, bool wasStopped) {
  clearBar();
  if (command_.json) {
    io_.out << JsonLines::summary(command_.kind, totals_, time) << '\n';
  } else {
    io_.out << fmt::format("{} {} of {} in {:.1f} s\n", pastWord(command_.kind), totals_.done,
                           filesText(totals_.files()), time.count());
    if (totals_.done > 0) printKinds();
    printCounts("skipped", totals_.skipped, skippedByCase_);
    printCounts("failed", totals_.failed, failedByCase_);
    if (passedOver_ > 0) {
      io_.out << fmt::format("passed over: {} {}\n", filesText(passedOver_),
                             command_.kind == OperationKind::compress ? "not worth compressing" : "never compressed");
    }
  }
  io_.out << std::flush;
  if (sawOutsideVolume_) {
    io_.err << "quillbrookctl: files can be compressed only in a volume that is mounted over its own folder, not "
               "elsewhere; mount their folder first: quillbrookctl volume mount DIR\n";
  }
  if (wasStopped) {
    io_.err << "quillbrookctl: stopped; every file is whole, and the same command goes on from here\n";
  }
}

void OperationPrinter::printKinds() {
  const bool isCompress = command_.kind == OperationKind::compress;
  std::vector<KindTotals::Row> rows = kinds_.rows(shownKinds);
  rows.push_back(kinds_.total());

  std::vector<std::string> names;
  std::size_t width = 0;
  for (const KindTotals::Row& row : rows) {
    names.push_back(PathText::shown(FilePath(row.kind), io_.outIsTerminal));
    width = std::max(width, names.back().size());
  }
  io_.out << fmt::format("  {:<{}} {:>9} {:>9}", "kind", width, "files", isCompress ? "before" : "size");
  io_.out << (isCompress ? fmt::format(" {:>9} {:>9}\n", "after", "saved") : "\n");
  for (std::size_t i = 0; i < rows.size(); ++i) {
    io_.out << fmt::format("  {:<{}} {:>9} {:>9}", names[i], width, rows[i].files, SizeText::text(rows[i].bytesBefore));
    io_.out << (isCompress
                    ? fmt::format(" {:>9} {:>9}\n", SizeText::text(rows[i].bytesAfter), SizeText::text(rows[i].saved()))
                    : "\n");
  }
}

void OperationPrinter::printCounts(std::string_view word, std::uint64_t count, const CountByCase& cases) {
  if (count == 0) return;
  std::string text = fmt::format("{}: {}", word, filesText(count));
  std::string_view separator = " (";
  for (const auto& [label, caseCount] : cases) {
    text += fmt::format("{}{}: {}", separator, label, caseCount);
    separator = "; ";
  }
  io_.out << text << ")\n";
}

}  // namespace quillbrook
