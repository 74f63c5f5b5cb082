// SPDX-License-Identifier: MIT
#include "SourceTree.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

#include "Compression/Header/DecmpfsHeader.h"
#include "Container/ContainerSealer.h"
#include "Platform/Linux/DescriptorSource.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/StoredState.h"

namespace quillbrook {
namespace {

const std::string attributeName(ContainerState::attributeName);

void appendNumber(std::vector<std::uint8_t>& bytes, std::size_t number) {
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(number >> shift));
}

// The fork of type 10: an offset table, then each block behind a marker byte.
std::vector<std::uint8_t> storedFork(std::string_view content) {
  constexpr std::size_t block = 65'536;
  const std::size_t count = (content.size() + block - 1) / block;
  std::vector<std::uint8_t> fork;
  for (std::size_t i = 0; i <= count; ++i) {
    appendNumber(fork, 4 * (count + 1) + std::min(content.size(), i * block) + i);
  }
  for (std::size_t i = 0; i < count; ++i) {
    const std::string_view part = content.substr(i * block, block);
    fork.push_back(0xFF);
    fork.insert(fork.end(), part.begin(), part.end());
  }
  return fork;
}

}  // namespace

SourceTree::SourceTree() {
  std::string name = (std::filesystem::temp_directory_path() / "quillbrook-administration.XXXXXX").native();
  if (::mkdtemp(name.data()) == nullptr) std::abort();
  folder_ = FilePath(std::filesystem::canonical(name).native());
}

SourceTree::~SourceTree() {
  std::error_code error;
  std::filesystem::remove_all(folder_.bytes(), error);
}

void SourceTree::makeFolder(std::string_view name) const {
  std::filesystem::create_directories(path(name).bytes());
}

void SourceTree::write(std::string_view name, std::string_view content) const {
  std::ofstream stream(path(name).bytes(), std::ios::binary | std::ios::trunc);
  stream << content << std::flush;
  ASSERT_TRUE(stream.good()) << path(name).displayText();
}

void SourceTree::append(std::string_view name, std::string_view content) const {
  std::ofstream stream(path(name).bytes(), std::ios::binary | std::ios::app);
  stream << content << std::flush;
  ASSERT_TRUE(stream.good());
}

std::string SourceTree::read(std::string_view name) const {
  std::ifstream stream(path(name).bytes(), std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

bool SourceTree::exists(std::string_view name) const {
  struct stat status{};
  return ::lstat(path(name).c_str(), &status) == 0;
}

void SourceTree::writeContainer(std::string_view name, std::string_view content) const {
  const auto value = DecmpfsHeader::encode(CompressionType::uncompressedRsrcV2, content.size());
  const auto fork = storedFork(content);
  ContainerState sealed{.st_flags = UF_COMPRESSED,
                        .valueByteCount = static_cast<std::uint32_t>(value.size()),
                        .forkByteCount = static_cast<std::uint32_t>(fork.size()),
                        .logicalByteCount = content.size(),
                        .creationTime = std::nullopt};
  std::ranges::copy(value, sealed.head.begin());
  std::string bytes(value.begin(), value.end());
  bytes.append(fork.begin(), fork.end());
  write(name, bytes);
  const FileDescriptor file(::open(path(name).c_str(), O_RDONLY | O_CLOEXEC));
  const auto seal = ContainerSealer::seal(DescriptorSource(file.get()), sealed);
  ASSERT_TRUE(seal.has_value());
  append(name, std::string(seal->begin(), seal->end()));
  ASSERT_TRUE(StoredState::write(file.get(), sealed).has_value());
  const std::array<timespec, 2> times{timespec{.tv_sec = modificationSeconds, .tv_nsec = 1},
                                      timespec{.tv_sec = modificationSeconds, .tv_nsec = 123'456'789}};
  ASSERT_EQ(::futimens(file.get(), times.data()), 0);
}

void SourceTree::writeState(std::string_view name, const ContainerState& state) const {
  const auto bytes = state.encode();
  ASSERT_EQ(::setxattr(path(name).c_str(), attributeName.c_str(), bytes.data(), bytes.size(), 0), 0);
}

ContainerState SourceTree::state(std::string_view name) const {
  std::array<std::uint8_t, ContainerState::byteCount> bytes{};
  EXPECT_EQ(::getxattr(path(name).c_str(), attributeName.c_str(), bytes.data(), bytes.size()),
            static_cast<ssize_t>(bytes.size()));
  return ContainerState::decode(bytes).value_or(ContainerState{});
}

bool SourceTree::hasState(std::string_view name) const {
  return ::getxattr(path(name).c_str(), attributeName.c_str(), nullptr, 0) >= 0;
}

void SourceTree::removeState(std::string_view name) const {
  ASSERT_EQ(::removexattr(path(name).c_str(), attributeName.c_str()), 0);
}

void SourceTree::flipBit(std::string_view name, std::uint64_t byte) const {
  std::fstream stream(path(name).bytes(), std::ios::binary | std::ios::in | std::ios::out);
  stream.seekg(static_cast<std::streamoff>(byte));
  const int value = stream.get();
  stream.seekp(static_cast<std::streamoff>(byte));
  stream.put(static_cast<char>(value ^ 1));
  stream.flush();
  ASSERT_TRUE(stream.good());
}

void SourceTree::truncate(std::string_view name, std::uint64_t byteCount) const {
  ASSERT_EQ(::truncate(path(name).c_str(), static_cast<off_t>(byteCount)), 0);
}

std::string SourceTree::content(std::size_t byteCount, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::string bytes(byteCount, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

}  // namespace quillbrook
