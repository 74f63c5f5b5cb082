// SPDX-License-Identifier: MIT
#include "SourceTree.h"

#include "Compression/FileCompressor.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/LittleEndian.h"
#include "Platform/ReservedNames.h"
#include "Support/CompressingFileSystem.h"

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
    const auto compressed = FileCompressor::compress(path(made), FileCompressor::defaultStreamingThreshold, nullptr,
                                                     CompressingFileSystem::instance());
    ASSERT_TRUE(compressed.has_value()) << describe(compressed.error());
  }
  std::filesystem::create_directories(path(name).parent().bytes());
  std::filesystem::rename(at(made), at(name));
  for (const Mishap mishap : mishaps) (this->*mishap)(name);
}

void SourceTree::loseState(std::string_view name) const {
  ASSERT_EQ(::removexattr(at(name).c_str(), attributeName), 0);
}

void SourceTree::buryState(std::string_view name) const {
  setState(name, {.st_flags = 0, .creationTime = Timestamp{.seconds = 1, .nanoseconds = 2}});
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

void SourceTree::setType(std::string_view name, std::uint32_t type) const {
  std::filesystem::remove(at(name));
  std::array<std::uint8_t, DecmpfsHeader::byteCount> value{'f', 'p', 'm', 'c'};
  LittleEndian::store(value.data() + 4, type);
  LittleEndian::store(value.data() + 8, std::uint64_t{150'000});
  FileSystem& files = CompressingFileSystem::instance();
  ASSERT_TRUE(files.createExclusively(path(name), 0600, folder()));
  ASSERT_TRUE(files.setxattr(path(name), ReservedNames::decmpfs, value, {}));
  ASSERT_TRUE(files.chflags(path(name), UF_COMPRESSED));
}

std::optional<ContainerState> SourceTree::state(std::string_view name) const {
  std::array<std::uint8_t, ContainerState::byteCount> bytes{};
  if (::getxattr(at(name).c_str(), attributeName, bytes.data(), bytes.size()) < 0) return std::nullopt;
  const auto state = ContainerState::decode(bytes);
  std::optional<ContainerState> found;
  if (state) found = *state;
  return found;
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

RedoRecord SourceTree::redoRecord(std::string_view name) const {
  const FileDescriptor top(::open(folder().c_str(), O_RDONLY | O_DIRECTORY));
  const FileDescriptor file(::open(at(name).c_str(), O_RDWR));
  return RedoRecord::of(top.get(), file.get()).value();
}

void SourceTree::writeRedoCopy(std::string_view name, std::string_view content, const RedoRecord& record) const {
  write(name, content);
  ASSERT_TRUE(record.write(FileDescriptor(::open(at(name).c_str(), O_RDWR)).get()).has_value());
}

}  // namespace quillbrook
