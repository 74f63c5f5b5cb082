// SPDX-License-Identifier: MIT
// Runs one operation on the native file system and ends the process just before a given call of it.
//   CrashingOperation FOLDER compress|decompress STREAMING-THRESHOLD CALL
// FOLDER counts as a volume and holds the file "a". Exit code: 0 done, 1 failed, 42 stopped at the call.
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>

#include "Compression/FileCompressor.h"
#include "Platform/Linux/VolumeRegistration.h"
#include "support/FaultyFileSystem.h"

int main(int argumentCount, char** arguments) {
  using namespace quillbrook;
  if (argumentCount != 5) return 1;
  const FilePath folder(arguments[1]);
  const std::int64_t threshold = std::stoll(arguments[3]);
  const std::size_t stopAt = std::stoull(arguments[4]);
  const VolumeRegistration volume(folder);
  FaultyFileSystem fileSystem(FileSystem::native(),
                              [&](const FaultyFileSystem::Call& call) -> std::optional<ErrorNumber> {
                                if (call.number == stopAt) _exit(42);
                                return std::nullopt;
                              });
  const FilePath url = folder.appending("a");
  const auto report = [](const auto& result) {
    if (!result) std::cerr << describe(result.error()) << '\n';
    return result ? 0 : 1;
  };
  return std::string(arguments[2]) == "compress"
             ? report(FileCompressor::compress(url, threshold, nullptr, fileSystem))
             : report(FileCompressor::decompress(url, threshold, nullptr, fileSystem));
}
