// SPDX-License-Identifier: MIT
#include "CommandLine/Inspection.h"

#include <fmt/format.h>

#include <cstdint>
#include <string_view>
#include <variant>

#include "CommandLine/ExitCode.h"
#include "CommandLine/JsonLines.h"
#include "CommandLine/Outcome.h"
#include "CommandLine/PathText.h"
#include "CommandLine/SizeText.h"
#include "CommandLine/TreeWalk.h"
#include "Compression/FileCompressionInspector.h"

namespace quillbrook::Inspection {
namespace {

// The inspector's own words are not English.
std::string sentence(const FileCompressionInspectionError& error) {
  struct {
    std::string operator()(const FileNotFound&) const { return "not found; see whether the name is right"; }
    std::string operator()(const DecmpfsHeaderInvalid& e) const {
      if (e.reason.starts_with("unknownCompressionType")) {
        return "it is compressed in a way that this version cannot read; use a newer one: " + e.reason;
      }
      return "the compressed form is damaged; 'quillbrookctl volume check' tells more: " + e.reason;
    }
    std::string operator()(const IOError& e) const {
      return OutcomeTable::sentence(EngineError(FileCompressionError(e)));
    }
    std::string operator()(const DecmpfsHeaderMissingDespiteFlag&) const {
      return "the compressed form is damaged; 'quillbrookctl volume check' tells more: it has no header";
    }
  } const words;
  return std::visit(words, error);
}

class Inspector final : public TreeVisitor {
 public:
  Inspector(const InspectCommand& command, Io& io) : command_(command), io_(io) {}

  bool visit(TreeFile file) override {
    const auto info = file.status ? FileCompressionInspector::inspect(file.path, *file.status, io_.fileSystem)
                                  : FileCompressionInspector::inspect(file.path, io_.fileSystem);
    if (info) {
      print(file.path, *info);
    } else if (file.isNamed || !std::holds_alternative<FileNotFound>(info.error())) {
      fail(file.path, sentence(info.error()));
    }
    return io_.out && !io_.stop.stop_requested();
  }
  void unreadable(const FilePath& folder, ErrorNumber error) override {
    fail(folder, "the folder cannot be read, and what it holds was left out; see to its permissions: " + error.text());
  }
  void otherFileSystem(const FilePath& folder) override {
    io_.err << fmt::format("quillbrookctl: {} is another file system and was left out; name it to inspect it\n",
                           PathText::shown(folder, io_.errIsTerminal));
  }

  void printTotal() {
    if (command_.json || files_ < 2) return;
    io_.out << fmt::format(format, "total", fmt::format("{} files", files_), SizeText::text(asSigned(logicalSize_)),
                           SizeText::text(asSigned(physicalSize_)), "");
  }
  [[nodiscard]] bool hasFailures() const { return hasFailures_; }

 private:
  static constexpr std::string_view format = "{:<14} {:<18} {:>9} {:>9}  {}\n";

  static std::int64_t asSigned(std::uint64_t size) { return static_cast<std::int64_t>(size); }

  void print(const FilePath& path, const FileCompressionInfo& info) {
    ++files_;
    logicalSize_ += info.logicalSize;
    physicalSize_ += info.physicalSize;
    if (command_.json) {
      io_.out << JsonLines::file(path, info) << '\n';
      return;
    }
    const auto* compressed = std::get_if<Compressed>(&info.status);
    io_.out << fmt::format(format, caseName(info.status), compressed != nullptr ? name(compressed->algorithm) : "-",
                           SizeText::text(asSigned(info.logicalSize)), SizeText::text(asSigned(info.physicalSize)),
                           PathText::shown(path, io_.outIsTerminal));
  }

  void fail(const FilePath& path, const std::string& words) {
    hasFailures_ = true;
    io_.err << fmt::format("quillbrookctl: cannot inspect {}: {}\n", PathText::shown(path, io_.errIsTerminal),
                           PathText::shownMessage(words, io_.errIsTerminal));
  }

  const InspectCommand& command_;
  Io& io_;
  std::uint64_t files_ = 0;
  std::uint64_t logicalSize_ = 0;
  std::uint64_t physicalSize_ = 0;
  bool hasFailures_ = false;
};

}  // namespace

int run(const InspectCommand& command, Io& io) {
  Inspector inspector(command, io);
  for (const FilePath& path : command.paths) {
    if (!TreeWalk::walk(path, io.fileSystem, io.openEnumerator, inspector)) break;
  }
  if (io.stop.stop_requested()) return ExitCode::signalBase + io.stopSignal;
  inspector.printTotal();
  return inspector.hasFailures() ? ExitCode::filesFailed : ExitCode::done;
}

}  // namespace quillbrook::Inspection
