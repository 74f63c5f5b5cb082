// SPDX-License-Identifier: MIT
#pragma once

#include "Compression/FileCompressor.h"
#include "Support/CompressingFileSystem.h"

namespace quillbrook {

// One of the four ways of a file through the engine.
struct Route {
  bool compresses = false;
  bool streams = false;

  // The outcome: "success", or the error with its payload.
  [[nodiscard]] std::string run(const FilePath& url, FileSystem& fileSystem = CompressingFileSystem::instance()) const {
    const std::int64_t threshold = streams ? 0 : FileCompressor::defaultStreamingThreshold;
    const auto text = [](const auto& result) { return result ? std::string("success") : describe(result.error()); };
    return compresses ? text(FileCompressor::compress(url, threshold, nullptr, fileSystem))
                      : text(FileCompressor::decompress(url, threshold, nullptr, fileSystem));
  }
  [[nodiscard]] std::string name() const {
    return std::string(streams ? "Streaming" : "InMemory") + (compresses ? "Compress" : "Decompress");
  }
};

inline constexpr std::array<Route, 4> routes{{{true, false}, {true, true}, {false, false}, {false, true}}};

inline std::string routeName(const testing::TestParamInfo<Route>& route) {
  return route.param.name();
}

}  // namespace quillbrook
