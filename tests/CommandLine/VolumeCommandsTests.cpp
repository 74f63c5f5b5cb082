// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include "CommandLineFixture.h"

namespace quillbrook {
namespace {

using testing::HasSubstr;
using Strings = std::vector<std::string>;

class VolumeCommandsTest : public CommandLineTest {
 protected:
  // A check that finds what is given.
  void checkFinds(std::vector<CheckFinding> findings, CheckResult result) {
    volumes.check = [=](const FilePath& folder, const std::function<void(const CheckFinding&)>& onFinding,
                        std::stop_token) -> std::expected<CheckResult, VolumeError> {
      for (const CheckFinding& finding : findings) onFinding(finding);
      CheckResult full = result;
      full.folder = folder;
      return full;
    };
  }
};

TEST_F(VolumeCommandsTest, CheckTellsDamageInItsExitCode) {
  using Kind = CheckFinding::Kind;
  checkFinds({}, {.folder = {}, .files = 3, .containers = 2});
  EXPECT_EQ(run({"volume", "check", "/v"}), 0);
  checkFinds({{FilePath("/v/left.slimtmp"), Kind::workFile, ""}}, {.folder = {}, .files = 3, .notes = 1});
  EXPECT_EQ(run({"volume", "check", "/v"}), 0) << "a note is no damage";
  checkFinds({{FilePath("/v/closed"), Kind::unreadable, "Permission denied"}},
             {.folder = {}, .files = 3, .unreadable = 1});
  EXPECT_EQ(run({"volume", "check", "/v"}), 3);

  checkFinds({{FilePath("/v/\xff"), Kind::damagedContainer, "block 3"}},
             {.folder = {}, .files = 3, .containers = 2, .damaged = 1});
  EXPECT_EQ(run({"volume", "check", "--json", "/v"}), 4);
  const auto lines = objects();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(keys(lines[0]), (Strings{"type", "path", "pathBase64", "kind", "damage", "detail"}));
  EXPECT_EQ(lines[0]["kind"], "damagedContainer");
  EXPECT_EQ(lines[0]["damage"], true);
  EXPECT_EQ(keys(lines[1]), (Strings{"type", "operation", "path", "files", "containers", "logicalBytes", "damaged",
                                     "unreadable", "notes"}));
  EXPECT_EQ(lines[1]["damaged"], 1);
  EXPECT_EQ(run({"volume", "check", "/v"}), 4);
  EXPECT_THAT(out.str(), HasSubstr("/v/\xff: "));
  EXPECT_THAT(out.str(), HasSubstr("1 damaged"));
}

TEST_F(VolumeCommandsTest, RefusalsAreToldAndStopsAreNot) {
  const auto refuse = [this](VolumeError error) {
    volumes.unmount = [=](auto&&...) { return std::unexpected(error); };
    volumes.restore = [=](auto&&...) { return std::unexpected(error); };
    volumes.mount = [=](auto&&...) { return std::unexpected(error); };
    volumes.enable = [=](auto&&...) { return std::unexpected(error); };
  };
  refuse(VolumeErrors::NotMounted{FilePath("/v")});
  for (const char* verb : {"unmount", "restore", "mount", "enable"}) {
    EXPECT_EQ(run({"volume", verb, "/v"}), 1) << verb;
    EXPECT_THAT(err.str(), testing::AllOf(testing::StartsWith("quillbrookctl: "), HasSubstr("/v")));
    EXPECT_EQ(out.str(), "");
  }
  refuse(VolumeErrors::Stopped{});
  stopWith(SIGTERM);
  EXPECT_EQ(run({"volume", "restore", "/v"}), 143);
}

TEST_F(VolumeCommandsTest, MountPassesItsOptionsAndWarnsOfThoseWhoSeePastIt) {
  MountOptions seen;
  volumes.mount =
      [&](const FilePath& folder, const MountOptions& options, std::stop_token,
          const std::function<void(const MountOutcome&)>& onMounted) -> std::expected<MountOutcome, VolumeError> {
    seen = options;
    MountOutcome outcome{.folder = folder, .clearedStaleMount = true, .users = {}};
    outcome.users.push_back({.process = 4711, .command = "vim", .hasOpenFiles = true, .example = FilePath("/v/a")});
    onMounted(outcome);
    return outcome;
  };
  EXPECT_EQ(run({"volume", "mount", "--read-only", "--force", "/v"}), 0);
  EXPECT_TRUE(seen.readOnly && seen.force);
  EXPECT_FALSE(seen.allowOther || seen.foreground);
  EXPECT_EQ(out.str(), "mounted /v\n");
  EXPECT_THAT(err.str(), testing::AllOf(HasSubstr("4711"), HasSubstr("daemon had died")));
}

TEST_F(VolumeCommandsTest, UnmountSaysWhatOthersCannotReadAndRestoreWhatFailed) {
  volumes.unmount =
      [](const FilePath& folder, std::stop_token,
         const std::function<void(const UnmountOutcome&)>& onCounted) -> std::expected<UnmountOutcome, VolumeError> {
    const UnmountOutcome outcome{.folder = folder, .compressedFiles = 12, .unreadFolders = 1};
    onCounted(outcome);
    return outcome;
  };
  EXPECT_EQ(run({"volume", "unmount", "/v"}), 0);
  EXPECT_EQ(out.str(), "unmounted /v\n");
  EXPECT_THAT(err.str(), HasSubstr("at least 12 compressed files"));

  volumes.restore = [](const FilePath& folder, const std::function<void(const RestoreEvent&)>& onEvent,
                       std::stop_token) -> std::expected<RestoreResult, VolumeError> {
    onEvent({.path = FilePath("/v/a"), .appended = FilePath("/v/a.appended"), .detail = ""});
    onEvent({.path = FilePath("/v/b"), .outcome = RestoreEvent::Outcome::failed, .appended = {}, .detail = "no space"});
    return RestoreResult{.folder = folder, .restored = 1, .failed = 1};
  };
  EXPECT_EQ(run({"volume", "restore", "/v"}), 3);
  EXPECT_THAT(out.str(), HasSubstr("restored 1 file\n"));
  EXPECT_THAT(err.str(), testing::AllOf(HasSubstr("/v/a.appended"), HasSubstr("cannot restore /v/b: no space")));
}

TEST_F(VolumeCommandsTest, ListPrintsAnObjectForEachVolume) {
  volumes.list = []() -> Result<std::vector<VolumeListing>> {
    VolumeListing alive{.mountPoint = FilePath("/v"), .source = FilePath("/v"), .owner = 1'000, .daemon = 4'711};
    VolumeListing stale{.mountPoint = FilePath("/w"), .source = FilePath("/w"), .daemon = {}};
    stale.condition = VolumeListing::Condition::stale;
    return std::vector{alive, stale};
  };
  EXPECT_EQ(run({"volume", "list", "--json"}), 0);
  const auto lines = objects();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(keys(lines[0]), (Strings{"type", "mountPoint", "source", "owner", "daemon", "readOnly", "condition"}));
  EXPECT_EQ(lines[0]["daemon"], 4'711);
  EXPECT_TRUE(lines[1]["daemon"].is_null());
  EXPECT_EQ(lines[1]["condition"], "stale");
  EXPECT_EQ(run({"volume", "list"}), 0);
  EXPECT_THAT(out.str(), testing::AllOf(HasSubstr("/v  (mounted)\n"), HasSubstr("/w  (its daemon has died")));
  volumes.list = []() -> Result<std::vector<VolumeListing>> { return std::unexpected(ErrorNumber{13}); };
  EXPECT_EQ(run({"volume", "list"}), 1);
}

}  // namespace
}  // namespace quillbrook
