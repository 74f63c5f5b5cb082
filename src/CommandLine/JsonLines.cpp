// SPDX-License-Identifier: MIT
#include "CommandLine/JsonLines.h"

#include <cmath>
#include <optional>

#include "CommandLine/JsonObject.h"
#include "CommandLine/Outcome.h"

namespace quillbrook::JsonLines {
namespace {

using JsonObject::addPath;
using JsonObject::Json;
using JsonObject::line;

Json algorithmName(std::optional<CompressionType> type) {
  return type ? Json(name(*type)) : Json(nullptr);
}

std::string_view conditionName(VolumeListing::Condition condition) {
  switch (condition) {
    case VolumeListing::Condition::alive: return "alive";
    case VolumeListing::Condition::stale: return "stale";
    case VolumeListing::Condition::silent: return "silent";
    case VolumeListing::Condition::closed: break;
  }
  return "closed";
}

}  // namespace

std::string file(const FilePath& path, const FileCompressionInfo& info) {
  const auto* compressed = std::get_if<Compressed>(&info.status);
  Json object{{"type", "file"}};
  addPath(object, "path", path);
  object["status"] = caseName(info.status);
  object["algorithm"] = compressed != nullptr ? Json(name(compressed->algorithm)) : Json(nullptr);
  object["logicalSize"] = info.logicalSize;
  object["physicalSize"] = info.physicalSize;
  object["uncompressedSize"] = compressed != nullptr ? Json(compressed->uncompressedSize) : Json(nullptr);
  return line(object);
}

std::string result(OperationKind kind, const ProcessedFile& file) {
  const auto* done = std::get_if<CompressionResult>(&file.ending);
  const auto* refused = std::get_if<RefusedFile>(&file.ending);
  Json object{{"type", "result"}, {"operation", name(kind)}};
  addPath(object, "path", file.path);
  object["outcome"] = name(refused != nullptr ? OutcomeTable::outcome(kind, refused->error) : Outcome::done);
  object["error"] = refused != nullptr ? Json(caseName(refused->error)) : Json(nullptr);
  object["detail"] = refused != nullptr ? Json(OutcomeTable::sentence(*refused)) : Json(nullptr);
  object["bytesBefore"] = done != nullptr ? Json(done->bytesBefore) : Json(file.logicalSize);
  object["bytesAfter"] = done != nullptr ? Json(done->bytesAfter) : Json(file.logicalSize);
  object["algorithm"] = algorithmName(done != nullptr ? done->algorithm : std::nullopt);
  return line(object);
}

std::string summary(OperationKind kind, const OperationTotals& totals, std::chrono::duration<double> time) {
  return line(Json{{"type", "summary"},
                   {"operation", name(kind)},
                   {"files", totals.files()},
                   {"done", totals.done},
                   {"skipped", totals.skipped},
                   {"failed", totals.failed},
                   {"bytesBefore", totals.bytesBefore},
                   {"bytesAfter", totals.bytesAfter},
                   {"seconds", std::round(time.count() * 1'000) / 1'000}});
}

std::string volume(const VolumeListing& volume) {
  Json object{{"type", "volume"}};
  addPath(object, "mountPoint", volume.mountPoint);
  addPath(object, "source", volume.source);
  object["owner"] = volume.owner;
  object["daemon"] = volume.daemon ? Json(*volume.daemon) : Json(nullptr);
  object["readOnly"] = volume.isReadOnly;
  object["condition"] = conditionName(volume.condition);
  return line(object);
}

std::string finding(const CheckFinding& finding) {
  Json object{{"type", "finding"}};
  addPath(object, "path", finding.path);
  object["kind"] = caseName(finding.kind);
  object["damage"] = isDamage(finding.kind);
  object["detail"] = finding.detail.empty() ? Json(nullptr) : Json(finding.detail);
  return line(object);
}

std::string checkSummary(const CheckResult& result) {
  Json object{{"type", "summary"}, {"operation", "check"}};
  addPath(object, "path", result.folder);
  object["files"] = result.files;
  object["containers"] = result.containers;
  object["logicalBytes"] = result.logicalBytes;
  object["damaged"] = result.damaged;
  object["unreadable"] = result.unreadable;
  object["notes"] = result.notes;
  return line(object);
}

}  // namespace quillbrook::JsonLines
