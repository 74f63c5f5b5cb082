// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Container/ContainerState.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// A folder of its own for one test, with compressed files as an unmounted volume has them. Gone with the object.
class SourceTree {
 public:
  SourceTree();
  ~SourceTree();
  SourceTree(const SourceTree&) = delete;
  SourceTree& operator=(const SourceTree&) = delete;

  [[nodiscard]] const FilePath& folder() const { return folder_; }
  [[nodiscard]] FilePath path(std::string_view name) const { return folder_.appending(name); }

  void makeFolder(std::string_view name) const;
  void write(std::string_view name, std::string_view content) const;
  void append(std::string_view name, std::string_view content) const;
  [[nodiscard]] std::string read(std::string_view name) const;
  [[nodiscard]] bool exists(std::string_view name) const;

  // A compressed file of that content: blocks stored in a fork, sealed, with a modification time long past.
  void writeContainer(std::string_view name, std::string_view content) const;
  void writeState(std::string_view name, const ContainerState& state) const;
  [[nodiscard]] ContainerState state(std::string_view name) const;
  [[nodiscard]] bool hasState(std::string_view name) const;
  void removeState(std::string_view name) const;
  void flipBit(std::string_view name, std::uint64_t byte) const;
  void truncate(std::string_view name, std::uint64_t byteCount) const;

  static constexpr std::int64_t modificationSeconds = 1'000'000'000;
  // `byteCount` bytes that do not repeat within a block, different for each seed.
  [[nodiscard]] static std::string content(std::size_t byteCount, std::uint32_t seed);

 private:
  FilePath folder_;
};

}  // namespace quillbrook
