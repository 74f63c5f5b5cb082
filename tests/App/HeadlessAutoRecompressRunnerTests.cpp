// SPDX-License-Identifier: MIT
#include "App/HeadlessAutoRecompressRunner.h"
#include "Compression/FileCompressor.h"
#include "Models/SecurityScopedBookmark.h"
#include "Models/StoreContext.h"
#include "Platform/ByteCountText.h"
#include "Platform/Log.h"
#include "Registration/RegistrationService.h"
#include "Support/CompressingFileSystem.h"
#include "Support/FaultyFileSystem.h"
#include "Support/ScratchFolder.h"

namespace quillbrook {
namespace {

using testing::HasSubstr;

class HeadlessAutoRecompressRunnerTest : public testing::Test {
 protected:
  // A file that was last changed so many seconds before the run.
  void write(std::string_view name, std::int64_t age, std::size_t byteCount = 20'000) const {
    tree_.write(name, ScratchFolder::prose(byteCount));
    touch(name, age, 0);
  }
  void writeNoise(std::string_view name, std::uint32_t seed) const {
    std::mt19937 random{seed};
    std::string noise;
    while (noise.size() < 3'000) noise += static_cast<char>(random());
    tree_.write(name, noise);
  }
  void touch(std::string_view name, std::int64_t age, long nanoseconds) const {
    const std::array<timespec, 2> times{timespec{.tv_sec = now_.seconds - age, .tv_nsec = nanoseconds},
                                        timespec{.tv_sec = now_.seconds - age, .tv_nsec = nanoseconds}};
    ASSERT_EQ(utimensat(AT_FDCWD, tree_.at(name).c_str(), times.data(), 0), 0);
  }
  void add(std::string_view name, ItemKind kind = ItemKind::folder, bool includeSubfolders = true) {
    StoreContext context(container_);
    const auto added =
        RegistrationService::registerItem(tree_.path(name), kind, includeSubfolders, context, StoreDate());
    ASSERT_TRUE(added) << describe(added.error());
    ASSERT_TRUE(std::holds_alternative<WillRegister>(*added));
  }
  int run(FileSystem& fileSystem = CompressingFileSystem::instance()) {
    out_.str({});
    err_.str({});
    calls_ = 0;
    HeadlessAutoRecompressRunner runner(container_, {.out = out_,
                                                     .err = err_,
                                                     .fileSystem = fileSystem,
                                                     .now =
                                                         [this] {
                                                           return Timestamp{
                                                               .seconds = now_.seconds + (calls_++ % 2),
                                                               .nanoseconds = calls_ % 2 == 0 ? 240'000'000U : 0U};
                                                         },
                                                     .stop = stop_.get_token()});
    const int exitCode = runner.run();
    wasStopped_ = runner.wasStopped();
    return exitCode;
  }
  // The six figures of the summary but the size.
  [[nodiscard]] std::string figures() const {
    std::string figures;
    const std::string text = out_.str().substr(out_.str().find("完了"));
    for (const char* word : {"走査 ", "成功 ", "失敗 ", "既圧縮スキップ ", "縮まずスキップ "}) {
      const auto at = text.find(word) + std::strlen(word);
      figures += text.substr(at, text.find(' ', at) - at) + (figures.size() < 8 ? " " : "");
    }
    return figures;
  }
  [[nodiscard]] bool isCompressed(std::string_view name) const {
    return (FileSystem::native().lstat(tree_.path(name))->st_flags & UF_COMPRESSED) != 0;
  }

  const ScratchFolder tree_;
  StoreContainer container_ = makeStoreContainer(tree_.path("store.sqlite")).value();
  const Timestamp now_{.seconds = 1'700'000'000, .nanoseconds = 0};
  std::ostringstream out_;
  std::ostringstream err_;
  unsigned calls_ = 0;
  std::stop_source stop_;
  bool wasStopped_ = false;
};

TEST_F(HeadlessAutoRecompressRunnerTest, AnEmptyRegistryIsTwoLines) {
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(
      out_.str(),
      "[Quillbrook] --auto-recompress: 登録項目 0 件を走査します\n"
      "[Quillbrook] --auto-recompress 完了: 走査 0 件 / 成功 0 / 失敗 0 / 既圧縮スキップ 0 / 縮まずスキップ 0 / 削減 "
      "0 B / 所要 1.2 秒\n");
  EXPECT_EQ(err_.str(), "");
}

TEST_F(HeadlessAutoRecompressRunnerTest, CompressesWhatHasBeenLeftAloneAndCountsTheRest) {
  write("folder/old.txt", 1'801);
  write("folder/exact.txt", 1'800);
  write("folder/sub/deep.txt", 7'200);
  write("folder/recent.txt", 1'740);
  write("folder/justnow.txt", 1'799);
  write("folder/.hidden.txt", 7'200);
  write("folder/App.app/inside.txt", 7'200);
  write("folder/old.txt.slimtmp2", 10);
  writeNoise("folder/noise.bin", 1);
  touch("folder/noise.bin", 7'200, 0);
  std::filesystem::create_hard_link(tree_.at("folder/old.txt"), tree_.at("linked"));
  add("folder");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(figures(), "4 2 0 1 1") << out_.str();
  EXPECT_THAT(out_.str(), testing::ContainsRegex("削減 [0-9]+ KB / 所要 1\\.2 秒"));
  EXPECT_TRUE(isCompressed("folder/exact.txt"));
  EXPECT_TRUE(isCompressed("folder/sub/deep.txt"));
  for (const char* name : {"folder/old.txt", "folder/recent.txt", "folder/justnow.txt", "folder/.hidden.txt",
                           "folder/App.app/inside.txt"}) {
    EXPECT_FALSE(isCompressed(name)) << name;
  }
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(figures(), "2 0 0 1 1") << "what is compressed is gone from the search";
}

TEST_F(HeadlessAutoRecompressRunnerTest, TakesSingleFilesAndDirectFilesAlone) {
  write("one.txt", 7'200);
  write("two.txt", 1'740);
  write("flat/direct.txt", 7'200);
  write("flat/sub/deep.txt", 7'200);
  write("gone.txt", 7'200);
  for (const char* name : {"one.txt", "two.txt", "gone.txt"}) add(name, ItemKind::file);
  add("flat", ItemKind::folder, false);
  std::filesystem::remove(tree_.at("gone.txt"));
  EXPECT_EQ(run(), 0) << "a dead bookmark is no failure";
  EXPECT_THAT(out_.str(), HasSubstr("登録項目 4 件"));
  EXPECT_EQ(figures(), "2 2 0 0 0");
  EXPECT_TRUE(isCompressed("one.txt"));
  EXPECT_FALSE(isCompressed("flat/sub/deep.txt"));
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(figures(), "1 0 0 1 0") << "a registered file is tried again";
}

TEST_F(HeadlessAutoRecompressRunnerTest, OneFailureAmongManyIsTold) {
  for (const char* name : {"folder/a.txt", "folder/b.txt", "folder/c.txt"}) write(name, 7'200);
  add("folder");
  FaultyFileSystem failing(CompressingFileSystem::instance(), [&](const FaultyFileSystem::Call& call) {
    const bool isHit = call.operation == "chflags" && call.path == tree_.path("folder/b.txt.slimtmp");
    return isHit ? std::optional(ErrorNumber::inputOutput) : std::nullopt;
  });
  EXPECT_EQ(run(failing), 1);
  EXPECT_EQ(figures(), "3 2 1 0 0");
  EXPECT_THAT(Log::entries().end()[-2].message,
              testing::StartsWith("compress failed: <private> — ioError(chflags: errno=5)"));
  EXPECT_EQ(run(), 0) << "the next run finishes the work";
  EXPECT_EQ(figures(), "1 1 0 0 0");
}

TEST_F(HeadlessAutoRecompressRunnerTest, TheFormatsLimitIsNotTried) {
  for (const auto& [name, byteCount] : {std::pair("limit", 2'147'483'647LL), std::pair("beyond", 2'147'483'648LL)}) {
    tree_.write(name, "");
    std::filesystem::resize_file(tree_.at(name), static_cast<std::uintmax_t>(byteCount));
    touch(name, 7'200, 0);
    add(name, ItemKind::file);
  }
  // The one that is tried fails at once, for want of a lock.
  FaultyFileSystem failing(CompressingFileSystem::instance(), [](const FaultyFileSystem::Call& call) {
    return call.operation == "openForLocking" ? std::optional(ErrorNumber::accessDenied) : std::nullopt;
  });
  EXPECT_EQ(run(failing), 1);
  EXPECT_EQ(figures(), "1 0 1 0 0");
  EXPECT_EQ(Log::entries().end()[-2].message, "skip oversized: <private>");
}

TEST_F(HeadlessAutoRecompressRunnerTest, OddRowsAndFoldersThatCannotBeSearchedEndNothing) {
  write("one.txt", 7'200);
  write("folder/a.txt", 7'200);
  {
    StoreContext context(container_);
    context.insert(RegisteredItem{.id = UUID::random(),
                                  .bookmark = SecurityScopedBookmark::create(tree_.path("one.txt")).value(),
                                  .kind = "something else",
                                  .registeredAt = {},
                                  .displayName = FilePath("one.txt"),
                                  .notes = std::nullopt});
    context.insert(RegisteredItem{.id = UUID::random(),
                                  .bookmark = SecurityScopedBookmark::create(tree_.path("one.txt")).value(),
                                  .kind = "folder",
                                  .registeredAt = {},
                                  .displayName = FilePath("one.txt"),
                                  .notes = std::nullopt});
    ASSERT_TRUE(context.save());
  }
  add("folder");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(figures(), "2 2 0 0 0") << "a kind that nobody knows is a file, and a file is no folder";
  const auto entries = Log::entries();
  EXPECT_TRUE(std::ranges::any_of(entries, [](const LogEntry& entry) {
    return entry.message == "search failed for <private>: rootNotADirectory";
  }));
}

TEST_F(HeadlessAutoRecompressRunnerTest, AStopLeavesTheFileInHandAsItWasAndStartsNoOther) {
  for (const char* name : {"folder/a.txt", "folder/b.txt", "folder/c.txt"}) write(name, 7'200);
  add("folder");
  FaultyFileSystem stopping(CompressingFileSystem::instance(), [&](const FaultyFileSystem::Call& call) {
    if (call.operation == "createExclusively" && call.path == tree_.path("folder/b.txt.slimtmp")) stop_.request_stop();
    return std::nullopt;
  });
  EXPECT_EQ(run(stopping), 0);
  EXPECT_TRUE(wasStopped_);
  EXPECT_THAT(out_.str(), testing::Not(HasSubstr("完了")));
  EXPECT_TRUE(isCompressed("folder/a.txt"));
  EXPECT_FALSE(isCompressed("folder/b.txt"));
  EXPECT_FALSE(isCompressed("folder/c.txt"));
  EXPECT_FALSE(tree_.exists("folder/b.txt.slimtmp"));
  stop_ = std::stop_source();
  EXPECT_EQ(run(), 0);
  EXPECT_FALSE(wasStopped_);
  EXPECT_EQ(figures(), "2 2 0 0 0");
}

TEST_F(HeadlessAutoRecompressRunnerTest, ARegistryThatCannotBeReadIsFatal) {
  tree_.write("store.sqlite", "this is no database at all, and long enough to be taken for the head of one");
  EXPECT_EQ(run(), 1);
  EXPECT_EQ(out_.str(), "");
  EXPECT_THAT(err_.str(), testing::StartsWith("ERROR: 登録項目の読み込みに失敗しました: "));
}

TEST(ByteCountText, RoundsHalvesToTheEvenDigitAndCarries) {
  const std::vector<std::pair<std::int64_t, std::string>> cases{{0, "0 B"},
                                                                {999, "999 B"},
                                                                {1'000, "1 KB"},
                                                                {1'500, "2 KB"},
                                                                {2'500, "2 KB"},
                                                                {999'499, "999 KB"},
                                                                {999'500, "1 MB"},
                                                                {1'050'000, "1 MB"},
                                                                {1'150'000, "1.2 MB"},
                                                                {999'949'999, "999.9 MB"},
                                                                {999'950'000, "1 GB"},
                                                                {1'234'567'890, "1.23 GB"},
                                                                {2'500'000'000, "2.5 GB"},
                                                                {INT64_MAX, "9.22 EB"}};
  for (const auto& [byteCount, text] : cases) EXPECT_EQ(ByteCountText::fileStyle(byteCount), text) << byteCount;
}

}  // namespace
}  // namespace quillbrook
