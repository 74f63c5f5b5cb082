// SPDX-License-Identifier: MIT
#include "CommandLine/Operation.h"

#include <fmt/format.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <stop_token>
#include <system_error>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "CommandLine/BoundedQueue.h"
#include "CommandLine/ExitCode.h"
#include "CommandLine/FileProgress.h"
#include "CommandLine/OperationPrinter.h"
#include "CommandLine/ProcessedFile.h"
#include "CommandLine/ProgressMeter.h"
#include "CommandLine/TreeWalk.h"
#include "Compression/FileCompressionInspector.h"
#include "Compression/FileCompressor.h"
#include "Platform/CancellableFileSystem.h"

namespace quillbrook::Operation {
namespace {

constexpr std::size_t queueCapacity = 256;
constexpr std::chrono::milliseconds drawInterval{100};

struct UnreadableFolder {
  FilePath path;
  ErrorNumber error;
};
struct OtherFileSystem {
  FilePath path;
};
using News = std::variant<ProcessedFile, UnreadableFolder, OtherFileSystem>;

// Adds up what lies before the run, for the bar.
class Counter final : public TreeVisitor {
 public:
  Counter(Io& io, FileProgress::Run& progress) : io_(io), progress_(progress) {}
  bool visit(TreeFile file) override {
    if (file.status) {
      progress_.total += file.status->st_size;
    } else if (const auto status = io_.fileSystem.lstat(file.path)) {
      progress_.total += status->st_size;
    }
    return !io_.stop.stop_requested();
  }
  // The run itself tells these.
  void unreadable(const FilePath&, ErrorNumber) override {}
  void otherFileSystem(const FilePath&) override {}

 private:
  Io& io_;
  FileProgress::Run& progress_;
};

class Run {
 public:
  Run(const OperationCommand& command, Io& io) : command_(command), io_(io), printer_(command, io) {}

  int run() {
    const SteadyTime start = io_.now();
    if (io_.errIsTerminal) count();
    {
      // Where the system grants fewer threads than asked for, fewer do the work.
      std::vector<std::jthread> threads;
      std::optional<std::error_code> refusal;
      while (!refusal && threads.size() < command_.jobs) {
        ++runningWorkers_;
        refusal = addThread(threads, [this] { work(); });
        if (refusal) --runningWorkers_;
      }
      if (!threads.empty()) refusal = addThread(threads, [this] { walk(); });
      if (refusal) {
        files_.end();
        io_.err << fmt::format(
            "quillbrookctl: cannot start a thread; end other programs, or raise the limits of this one (ulimit -a): "
            "{}\n",
            refusal->message());
        return ExitCode::failed;
      }
      print();
    }
    printer_.printSummary(io_.now() - start, io_.stop.stop_requested());
    return exitCode();
  }

 private:
  class Walker;

  // Why the system has none to give, if so.
  template <typename Task>
  static std::optional<std::error_code> addThread(std::vector<std::jthread>& threads, Task task) {
    try {
      threads.emplace_back(std::move(task));
      return std::nullopt;
    } catch (const std::system_error& error) {
      return error.code();
    }
  }

  void count() {
    printer_.drawCounting();
    Counter counter(io_, progress_);
    for (const FilePath& path : command_.paths) {
      if (!TreeWalk::walk(path, io_.fileSystem, io_.openEnumerator, counter)) return;
    }
  }

  void walk();

  void work() {
    while (auto file = files_.pop()) {
      if (!stop_.stop_requested()) news_.push(process(*std::move(file)));
    }
    if (--runningWorkers_ == 0) news_.end();
  }

  // The inspector tells the size, and of a file in a folder whether it is worth it; then the engine has it.
  ProcessedFile process(TreeFile file) {
    const auto info = file.status ? FileCompressionInspector::inspect(file.path, *file.status, io_.fileSystem)
                                  : FileCompressionInspector::inspect(file.path, io_.fileSystem);
    const std::uint64_t logicalSize = info ? info->logicalSize : sizeAlone(file.path);
    ProcessedFile processed{.path = std::move(file.path), .logicalSize = logicalSize, .ending = {}};
    FileProgress progress(progress_, processed.logicalSize);
    if (!file.isNamed && isPassedOver(info)) {
      progress.withdraw();
      processed.ending = PassedOverFile{};
      return processed;
    }
    CancellableFileSystem fileSystem(io_.fileSystem, stop_.get_token(),
                                     [&](std::size_t byteCount) { progress.add(byteCount); });
    auto result = operate(processed.path, fileSystem);
    if (result) {
      progress.complete();
      processed.ending = *std::move(result);
    } else {
      progress.withdraw();
      processed.ending = RefusedFile{std::move(result.error()), fileSystem.hasRefused()};
    }
    return processed;
  }

  // Of a file that the inspector could not make sense of.
  [[nodiscard]] std::uint64_t sizeAlone(const FilePath& path) const {
    const auto status = io_.fileSystem.lstat(path);
    return status ? static_cast<std::uint64_t>(status->st_size) : 0;
  }

  static bool isPassedOver(const std::expected<FileCompressionInfo, FileCompressionInspectionError>& info) {
    // One that vanished since the walk saw it is nobody's concern; what else is wrong, the engine says.
    if (!info) return std::holds_alternative<FileNotFound>(info.error());
    return std::holds_alternative<Incompressible>(info->status) || std::holds_alternative<DatalessCloud>(info->status);
  }

  [[nodiscard]] std::expected<CompressionResult, EngineError> operate(const FilePath& path,
                                                                      FileSystem& fileSystem) const {
    if (command_.kind == OperationKind::compress) {
      return FileCompressor::compress(path, FileCompressor::defaultStreamingThreshold, nullptr, fileSystem);
    }
    auto result = FileCompressor::decompress(path, FileCompressor::defaultStreamingThreshold, nullptr, fileSystem);
    if (!result) return std::unexpected(EngineError(std::move(result.error())));
    return *std::move(result);
  }

  void print() {
    ProgressMeter meter;
    SteadyTime lastDrawn{};
    for (;;) {
      auto news = news_.popWithin(drawInterval);
      if (!news && news.error() == QueueWait::ended) return;
      if (news) {
        std::visit([this](const auto& item) { printItem(item); }, *news);
        // Nobody takes the results any more: no use in going on.
        if (!io_.out) stop_.request_stop();
      }
      if (io_.errIsTerminal) {
        const SteadyTime now = io_.now();
        if (now - lastDrawn < drawInterval) continue;
        lastDrawn = now;
        meter.add(now, {progress_.done, progress_.total});
        printer_.drawProgress(meter);
      }
    }
  }
  void printItem(const ProcessedFile& file) { printer_.print(file); }
  void printItem(const UnreadableFolder& folder) { printer_.printUnreadable(folder.path, folder.error); }
  void printItem(const OtherFileSystem& folder) { printer_.printOtherFileSystem(folder.path); }

  [[nodiscard]] int exitCode() const {
    if (io_.stop.stop_requested()) return ExitCode::signalBase + io_.stopSignal;
    if (!io_.out) return ExitCode::failed;
    return printer_.hasFailures() ? ExitCode::filesFailed : ExitCode::done;
  }

  const OperationCommand& command_;
  Io& io_;
  OperationPrinter printer_;
  std::stop_source stop_;
  std::stop_callback<std::function<void()>> chain_{io_.stop, [this] { stop_.request_stop(); }};
  FileProgress::Run progress_;
  BoundedQueue<TreeFile> files_{queueCapacity};
  BoundedQueue<News> news_{queueCapacity};
  std::atomic<unsigned> runningWorkers_ = 0;
};

// Feeds the workers.
class Run::Walker final : public TreeVisitor {
 public:
  explicit Walker(Run& run) : run_(run) {}
  bool visit(TreeFile file) override {
    if (run_.stop_.stop_requested()) return false;
    run_.files_.push(std::move(file));
    return true;
  }
  void unreadable(const FilePath& folder, ErrorNumber error) override {
    run_.news_.push(UnreadableFolder{folder, error});
  }
  void otherFileSystem(const FilePath& folder) override { run_.news_.push(OtherFileSystem{folder}); }

 private:
  Run& run_;
};

void Run::walk() {
  Walker walker(*this);
  for (const FilePath& path : command_.paths) {
    if (!TreeWalk::walk(path, io_.fileSystem, io_.openEnumerator, walker)) break;
  }
  files_.end();
}

}  // namespace

int run(const OperationCommand& command, Io& io) {
  return Run(command, io).run();
}

}  // namespace quillbrook::Operation
