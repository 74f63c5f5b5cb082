// SPDX-License-Identifier: MIT
#include "SourceTree.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <array>
#include <ctime>
#include <filesystem>
#include <string>

#include "Compression/FileCompressor.h"
#include "Platform/Linux/VolumeRegistration.h"

namespace quillbrook {
namespace {

constexpr const char* attributeName = "user.quillbrook.state";

void flipBitAt(const SourceTree& tree, std::string_view name, std::size_t position) {
  std::string bytes = tree.read(name);
  bytes.at(position) ^= 1;
  tree.write(name, bytes);
}

}  // namespace

void SourceTree::writeContainer(std::string_view name, std::string_view content,
                                const std::vector<Mishap>& mishaps) const {
  // A long name would leave no room for the engine's ending.
  const std::string made = "being made";
  write(made, content);
  const std::array<timespec, 2> times{timespec{.tv_sec = 1'000'000'000, .tv_nsec = 1},
                                      timespec{.tv_sec = 1'000'000'000, .tv_nsec = 123'456'789}};
  ASSERT_EQ(::utimensat(AT_FDCWD, at(made).c_str(), times.data(), 0), 0);
  {
    const VolumeRegistration volume(folder());
    const auto compressed = FileCompressor::compress(path(made));
    ASSERT_TRUE(compressed.has_value()) << describe(compressed.error());
  }
  std::filesystem::create_directories(path(name).parent().bytes());
  std::filesystem::rename(at(made), at(name));
  for (const Mishap mishap : mishaps) (this->*mishap)(name);
}

void SourceTree::loseState(std::string_view name) const {
  ASSERT_EQ(::removexattr(at(name).c_str(), attributeName), 0);
}

void SourceTree::garbleState(std::string_view name) const {
  const std::string junk(ContainerState::byteCount, 'x');
  ASSERT_EQ(::setxattr(at(name).c_str(), attributeName, junk.data(), junk.size(), 0), 0);
}

void SourceTree::flipBit(std::string_view name) const {
  flipBitAt(*this, name, read(name).size() / 2);
}

void SourceTree::flipTrailerBit(std::string_view name) const {
  flipBitAt(*this, name, read(name).size() - 20);
}

void SourceTree::cutShort(std::string_view name) const {
  std::filesystem::resize_file(at(name), read(name).size() * 9 / 10);
}

std::optional<ContainerState> SourceTree::state(std::string_view name) const {
  std::array<std::uint8_t, ContainerState::byteCount> bytes{};
  if (::getxattr(at(name).c_str(), attributeName, bytes.data(), bytes.size()) < 0) return std::nullopt;
  const auto state = ContainerState::decode(bytes);
  return state ? std::optional(*state) : std::nullopt;
}

void SourceTree::setState(std::string_view name, const ContainerState& state) const {
  const auto bytes = state.encode();
  ASSERT_EQ(::setxattr(at(name).c_str(), attributeName, bytes.data(), bytes.size(), 0), 0);
}

void SourceTree::setRedoIdentifier(std::string_view name, std::uint32_t identifier) const {
  ContainerState changed = state(name).value_or(ContainerState{});
  ASSERT_TRUE(changed.isSealed());
  changed.redoIdentifier = identifier;
  setState(name, changed);
}

}  // namespace quillbrook
