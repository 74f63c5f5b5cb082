// SPDX-License-Identifier: MIT

#include "CommandLineFixture.h"

namespace quillbrook {
namespace {

using testing::AllOf;
using testing::HasSubstr;

using VolumeCommandsTest = CommandLineTest;

TEST_F(VolumeCommandsTest, CheckTellsDamageInItsExitCode) {
  using Kind = CheckFinding::Kind;
  struct Case {
    CheckFinding finding;
    std::string kind;
    CheckResult result;
    int exitCode;
  };
  const std::vector<Case> cases{
      {{FilePath("/v/left.slimtmp"), Kind::workFile, ""}, "workFile", {.folder = {}, .files = 3, .notes = 1}, 0},
      {{FilePath("/v/closed"), Kind::unreadable, "Permission denied"},
       "unreadable",
       {.folder = {}, .unreadable = 1},
       3},
      {{FilePath("/v/\xff"), Kind::damagedContainer, "block 3"},
       "damagedContainer",
       {.folder = {}, .damaged = 1, .unreadable = 1},
       4},
  };
  for (const auto& [finding, kind, result, exitCode] : cases) {
    volumes.check = [&](const auto&, const auto& onFinding, const auto&) -> std::expected<CheckResult, VolumeError> {
      onFinding(finding);
      return result;
    };
    EXPECT_EQ(run({"volume", "check", "/v"}), exitCode);
    EXPECT_THAT(out.str(), HasSubstr(finding.path.bytes() + ": "));
    EXPECT_EQ(run({"volume", "check", "--json", "/v"}), exitCode);
    const auto lines = objects();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0]["kind"], kind);
    EXPECT_EQ(lines[0]["damage"], exitCode == 4);
    EXPECT_EQ(lines[0].contains("pathBase64"), !finding.path.isUtf8());
    EXPECT_EQ(lines[1]["type"], "summary");
    EXPECT_EQ(lines[1]["damaged"], result.damaged);
    EXPECT_EQ(lines[1]["unreadable"], result.unreadable);
  }
}

TEST_F(VolumeCommandsTest, RefusalsAreToldAndStopsAreNot) {
  const auto refuse = [this](const VolumeError& error) {
    const auto all = [&](auto&... operations) {
      ((operations = [=](auto&&...) { return std::unexpected(error); }), ...);
    };
    all(volumes.unmount, volumes.restore, volumes.check, volumes.mount, volumes.enable, volumes.disable);
  };
  refuse(VolumeErrors::NotMounted{FilePath("/v")});
  volumes.list = [] { return std::unexpected(ErrorNumber{EACCES}); };
  EXPECT_EQ(run({"volume", "list"}), 1);
  const Strings verbs{"unmount", "restore", "check", "mount", "enable", "disable"};
  for (const std::string& verb : verbs) {
    EXPECT_EQ(run({"volume", verb, "/v"}), 1) << verb;
    EXPECT_THAT(err.str(), AllOf(testing::StartsWith("quillbrookctl: "), HasSubstr("/v")));
    EXPECT_EQ(out.str(), "");
  }
  refuse(VolumeErrors::Stopped{});
  stopWith(SIGTERM);
  for (const std::string& verb : verbs) EXPECT_EQ(run({"volume", verb, "/v"}), 143) << verb;
}

TEST_F(VolumeCommandsTest, WhatWasDoneIsToldAndWhatOthersMeet) {
  MountOptions seen;
  volumes.mount = [&](const FilePath& folder, const MountOptions& options, const auto&,
                      const auto& onMounted) -> std::expected<MountOutcome, VolumeError> {
    seen = options;
    MountOutcome outcome{.folder = folder, .clearedStaleMount = true, .users = {}, .words = {}};
    outcome.words = "quillbrook-volume: 1 of 1 files";
    outcome.users.push_back({.process = 4711, .command = "vim", .hasOpenFiles = true, .example = FilePath("/v/a")});
    onMounted(outcome);
    return outcome;
  };
  EXPECT_EQ(run({"volume", "mount", "--read-only", "/v"}), 0);
  EXPECT_TRUE(seen.readOnly);
  EXPECT_EQ(out.str(), "mounted /v\n");
  EXPECT_THAT(err.str(), AllOf(HasSubstr("4711"), HasSubstr("daemon had died"), HasSubstr("1 of 1 files\n")));

  volumes.unmount = [](const FilePath& folder, const auto&,
                       const auto& onCounted) -> std::expected<UnmountOutcome, VolumeError> {
    UnmountOutcome outcome{.folder = folder, .compressedFiles = 12, .unread = 1};
    onCounted(outcome);
    return outcome;
  };
  EXPECT_EQ(run({"volume", "unmount", "/v"}), 0);
  EXPECT_EQ(out.str(), "unmounted /v\n");
  EXPECT_THAT(err.str(), HasSubstr("at least 12 compressed files"));

  volumes.restore = [](const FilePath& folder, const auto& onEvent,
                       const auto&) -> std::expected<RestoreResult, VolumeError> {
    onEvent({.path = FilePath("/v/a"), .appended = FilePath("/v/a.appended"), .detail = ""});
    onEvent({.path = FilePath("/v/b"), .outcome = RestoreEvent::Outcome::failed, .appended = {}, .detail = "no space"});
    return RestoreResult{.folder = folder, .restored = 1, .failed = 1};
  };
  EXPECT_EQ(run({"volume", "restore", "/v"}), 3);
  EXPECT_THAT(out.str(), HasSubstr("restored 1 file\n"));
  EXPECT_THAT(err.str(), AllOf(HasSubstr("/v/a.appended"), HasSubstr("cannot restore /v/b: no space")));

  volumes.restore = [this](const FilePath&, const auto& onEvent,
                           const auto&) -> std::expected<RestoreResult, VolumeError> {
    onEvent({.path = FilePath("/v/a"), .appended = {}, .detail = ""});
    stopWith(SIGINT);
    return std::unexpected(VolumeErrors::Stopped{});
  };
  EXPECT_EQ(run({"volume", "restore", "/v"}), 130);
  EXPECT_EQ(out.str(), "restored 1 file\n");
}

TEST_F(VolumeCommandsTest, ListPrintsAnObjectForEachVolume) {
  volumes.list = []() -> Result<std::vector<VolumeListing>> {
    using Condition = VolumeListing::Condition;
    return std::vector<VolumeListing>{
        {.mountPoint = FilePath("/v"), .source = FilePath("/s"), .daemon = 4'711},
        {.mountPoint = FilePath("/w"), .source = FilePath("/w"), .daemon = {}, .condition = Condition::stale}};
  };
  EXPECT_EQ(run({"volume", "list", "--json"}), 0);
  EXPECT_EQ(
      out.str(),
      R"({"type":"volume","mountPoint":"/v","source":"/s","owner":0,"daemon":4711,"readOnly":false,"condition":"alive"}
{"type":"volume","mountPoint":"/w","source":"/w","owner":0,"daemon":null,"readOnly":false,"condition":"stale"}
)");
  EXPECT_EQ(run({"volume", "list"}), 0);
  EXPECT_THAT(out.str(), AllOf(HasSubstr("/v  (mounted)\n"), HasSubstr("/w  (its daemon has died")));
}

}  // namespace
}  // namespace quillbrook
