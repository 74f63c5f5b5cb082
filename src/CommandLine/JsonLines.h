// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <string>

#include "CommandLine/Command.h"
#include "CommandLine/OperationTotals.h"
#include "CommandLine/ProcessedFile.h"
#include "Compression/FileCompressionInfo.h"
#include "Platform/FilePath.h"
#include "Volume/Administration/VolumeCheck.h"
#include "Volume/Administration/VolumeList.h"

// The objects of `--json`, one a line without its line feed, keys in their documented order. Sizes are bytes. Where a
// path is not UTF-8, "path" has U+FFFD and "pathBase64" behind it the bytes.
namespace quillbrook::JsonLines {

[[nodiscard]] std::string file(const FilePath& path, const FileCompressionInfo& info);
// Not for files that were passed over.
[[nodiscard]] std::string result(OperationKind kind, const ProcessedFile& file);
[[nodiscard]] std::string summary(OperationKind kind, const OperationTotals& totals,
                                  std::chrono::duration<double> time);
[[nodiscard]] std::string volume(const VolumeListing& volume);
[[nodiscard]] std::string finding(const CheckFinding& finding);
[[nodiscard]] std::string checkSummary(const CheckResult& result);

}  // namespace quillbrook::JsonLines
