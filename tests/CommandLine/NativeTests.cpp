// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "CommandLineFixture.h"
#include "Platform/Linux/VolumeRegistration.h"
#include "Platform/StopSignals.h"

namespace quillbrook {
namespace {

namespace fs = std::filesystem;

// A folder of real files, several workers, the platform's own file system.
class NativeTest : public CommandLineTest {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "quillbrook-cli-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder = pattern;
    openDirectory = DirectoryReader::open;
  }
  void TearDown() override { fs::remove_all(folder); }

  void write(const std::string& name, const std::string& content) const {
    fs::create_directories((folder / name).parent_path());
    std::ofstream(folder / name, std::ios::binary) << content;
  }
  // Content as programs without the mount see it, for every name in the folder.
  [[nodiscard]] std::map<std::string, std::string> rawContents() const {
    std::map<std::string, std::string> contents;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      if (!entry.is_regular_file()) continue;
      std::ifstream stream(entry.path(), std::ios::binary);
      contents[entry.path().string()] = std::string(std::istreambuf_iterator<char>(stream), {});
    }
    return contents;
  }
  int runNatively(std::vector<std::string> arguments) { return run(std::move(arguments), FileSystem::native()); }

  fs::path folder;
};

std::string text(int seed, std::size_t size) {
  std::string text;
  for (int i = seed; text.size() < size; ++i) text += "value " + std::to_string(i * 7 % 1'013) + ";\n";
  text.resize(size);
  return text;
}

TEST_F(NativeTest, EightWorkersCompressATreeAndBringItBack) {
  for (int i = 0; i < 60; ++i) write("d" + std::to_string(i % 7) + "/f" + std::to_string(i) + ".c", text(i, 30'000));
  fs::create_symlink("d0", folder / "link");
  fs::create_hard_link(folder / "d0/f0.c", folder / "d0/second-name.c");
  const auto before = rawContents();
  const VolumeRegistration volume{FilePath(folder.string())};

  EXPECT_EQ(runNatively({"compress", "--json", "--jobs", "8", folder.string()}), 0) << err.str() << out.str();
  EXPECT_EQ(objects().back()["done"], 59) << "all but the one with two names";
  EXPECT_LT(objects().back()["bytesAfter"], objects().back()["bytesBefore"]);
  EXPECT_NE(rawContents(), before);

  EXPECT_EQ(runNatively({"inspect", "--json", folder.string()}), 0);
  const auto lines = objects();
  EXPECT_EQ(std::ranges::count(lines, "compressed", [](const Json& line) { return line["status"]; }), 59);
  EXPECT_EQ(lines.size(), 61U);

  EXPECT_EQ(runNatively({"decompress", "--json", "--jobs", "8", folder.string()}), 0) << err.str() << out.str();
  EXPECT_EQ(objects().back()["done"], 59);
  EXPECT_EQ(rawContents(), before);
}

TEST_F(NativeTest, OutsideAVolumeNothingChanges) {
  write("a.h", text(1, 50'000));
  write("b.h", text(2, 9'000));
  const auto before = rawContents();
  EXPECT_EQ(runNatively({"compress", "--json", folder.string()}), 3);
  for (const Json& line : objects()) {
    if (line["type"] == "result") {
      EXPECT_EQ(line["error"], "ioError");
    }
  }
  EXPECT_EQ(objects().back()["failed"], 2);
  EXPECT_THAT(objects().front()["detail"], testing::HasSubstr("chflags"));
  EXPECT_EQ(rawContents(), before);
}

TEST_F(NativeTest, AFolderIsListedWithItsKindsAndWithoutWhatAVolumeKeepsThere) {
  write("file", "x");
  write(".quillbrook-volume/redo/1", "not the user's");
  fs::create_symlink("/nowhere", folder / "link");
  ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
  fs::create_directory(folder / "sub");
  const auto reader = DirectoryReader::open(FilePath(folder.string())).value();
  std::map<std::string, FileKind> entries;
  while (const auto entry = reader->next().value()) entries[entry->name] = entry->kind;
  EXPECT_EQ(entries, (std::map<std::string, FileKind>{{"file", FileKind::regular},
                                                      {"link", FileKind::symbolicLink},
                                                      {"fifo", FileKind::other},
                                                      {"sub", FileKind::directory}}));
  fs::create_directory_symlink("sub", folder / "way-in");
  EXPECT_FALSE(DirectoryReader::open(FilePath((folder / "way-in").string())).has_value()) << "a link was followed";
  EXPECT_EQ(DirectoryReader::open(FilePath((folder / "none").string())).error(), ErrorNumber::noEntry);
}

TEST_F(NativeTest, ASignalRequestsTheStopAndTheFirstOneCounts) {
  const StopSignals signals;
  EXPECT_FALSE(signals.token().stop_requested());
  ASSERT_EQ(std::raise(SIGTERM), 0);
  ASSERT_EQ(std::raise(SIGINT), 0);
  EXPECT_EQ(signals.received(), SIGTERM);
  // The request comes from another thread: it comes, or the test's time limit does.
  while (!signals.token().stop_requested()) std::this_thread::yield();
}

TEST_F(NativeTest, WithoutASignalNothingIsRequestedAndTheOldHandlersComeBack) {
  struct sigaction before{};
  ::sigaction(SIGTERM, nullptr, &before);
  std::stop_token token;
  {
    const StopSignals signals;
    token = signals.token();
    EXPECT_EQ(signals.received(), 0);
  }
  EXPECT_FALSE(token.stop_requested());
  struct sigaction after{};
  ::sigaction(SIGTERM, nullptr, &after);
  EXPECT_EQ(after.sa_handler, before.sa_handler);
}

}  // namespace
}  // namespace quillbrook
