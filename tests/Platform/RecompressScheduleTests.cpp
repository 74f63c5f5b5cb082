// SPDX-License-Identifier: MIT
#include "Platform/Linux/ChildProgram.h"
#include "Platform/RecompressSchedule.h"
#include "Support/ScratchFolder.h"

namespace quillbrook {
namespace {

using Reach = ServiceManagerReach;

class RecompressScheduleTest : public testing::Test {
 protected:
  void SetUp() override {
    makeProgram("quillbrook", "");
    ::setenv("XDG_CONFIG_HOME", folder_.at("config").c_str(), 1);
    ::setenv("PATH", folder_.at("programs").c_str(), 1);
  }
  void TearDown() override {
    ::setenv("PATH", path_.c_str(), 1);
    ::unsetenv("XDG_CONFIG_HOME");
  }

  void makeProgram(const std::string& name, const std::string& script) const {
    folder_.write("programs/" + name, "#!/bin/sh\n" + script);
    std::filesystem::permissions(folder_.at("programs/" + name), std::filesystem::perms::owner_all);
  }
  // A `systemctl` that keeps what it was asked and answers by these branches of a case.
  void makeManager(const std::string& answers) const {
    makeProgram("systemctl", "echo \"$*\" >> '" + folder_.at("asked") + "'\ncase \"$*\" in\n" + answers +
                                 "*=Version*) echo 252 ;;\nesac\n");
  }
  // Since the last time.
  [[nodiscard]] std::string asked() const {
    std::string lines = folder_.read("asked");
    folder_.write("asked", "");
    return lines;
  }

  static constexpr const char* timer_ = "config/systemd/user/quillbrook-recompress.timer";
  static constexpr const char* service_ = "config/systemd/user/quillbrook-recompress.service";
  static constexpr const char* link_ = "config/systemd/user/timers.target.wants/quillbrook-recompress.timer";
  const FilePath path_{::getenv("PATH") == nullptr ? "" : ::getenv("PATH")};
  const ScratchFolder folder_;
};

TEST_F(RecompressScheduleTest, PutsTimerAndServiceInPlaceAndTakesThemAway) {
  const auto enabled = RecompressSchedule::enable();
  ASSERT_TRUE(enabled.has_value()) << describe(enabled.error());
  EXPECT_EQ(*enabled, (ScheduleOutcome{.timerFile = folder_.path(timer_),
                                       .serviceFile = folder_.path(service_),
                                       .reach = Reach::notInstalled,
                                       .interval = ScheduleInterval::weekly}));
  EXPECT_THAT(sentence(*enabled), testing::HasSubstr("crontab"));
  // The program beside the running one comes before those of PATH.
  const std::string besideThis = std::filesystem::canonical("/proc/self/exe").parent_path() / "quillbrook";
  const std::string program = std::filesystem::exists(besideThis) ? besideThis : folder_.at("programs/quillbrook");
  EXPECT_THAT(folder_.read(service_), testing::HasSubstr("ExecStart=:\"" + program + "\" --auto-recompress\n"));
  EXPECT_THAT(folder_.read(link_), testing::HasSubstr("OnCalendar=weekly\n"));

  const auto changed = RecompressSchedule::enable(ScheduleInterval::monthly);
  ASSERT_TRUE(changed.has_value()) << describe(changed.error());
  EXPECT_TRUE(changed->wasEnabled);
  EXPECT_EQ(RecompressSchedule::status()->interval, ScheduleInterval::monthly);

  if (std::filesystem::exists("/usr/bin/systemd-analyze")) {
    ::setenv("XDG_RUNTIME_DIR", folder_.at("").c_str(), 1);
    auto peer = ChildProgram::start({"/usr/bin/systemd-analyze", "--user", "--man=no", "verify", folder_.at(timer_)},
                                    ChildProgram::Session::own);
    ASSERT_TRUE(peer.has_value());
    EXPECT_EQ(peer->wait(), 0) << peer->words();
    EXPECT_EQ(peer->words(), "");
  } else {
    std::cout << "SKIPPED: systemd-analyze, the peer, is not installed\n";
  }

  EXPECT_TRUE(RecompressSchedule::disable()->wasEnabled);
  for (const char* name : {timer_, service_, link_}) EXPECT_FALSE(folder_.exists(name)) << name;
  const auto again = RecompressSchedule::disable();
  ASSERT_TRUE(again.has_value()) << describe(again.error());
  EXPECT_THAT(sentence(*again), testing::HasSubstr("was not scheduled"));
  EXPECT_FALSE(RecompressSchedule::status()->isEnabled);
}

TEST_F(RecompressScheduleTest, HasARunningManagerTakeItUp) {
  makeManager(
      "*=ActiveState*) echo active ;;\n"
      "*NextElapse*) echo NextElapseUSecRealtime=@1764461840; echo LastTriggerUSec=n/a ;;\n");
  EXPECT_EQ(RecompressSchedule::enable()->reach, Reach::running);
  EXPECT_THAT(asked(), testing::EndsWith("--user daemon-reload\n--user restart quillbrook-recompress.timer\n"));

  const auto status = RecompressSchedule::status();
  ASSERT_TRUE(status.has_value()) << describe(status.error());
  EXPECT_EQ(status->nextRun, (Timestamp{.seconds = 1'764'461'840, .nanoseconds = 0}));
  EXPECT_EQ(status->lastRun, std::nullopt);

  static_cast<void>(asked());
  EXPECT_TRUE(RecompressSchedule::disable()->wasEnabled);
  EXPECT_THAT(asked(), testing::EndsWith("--user stop quillbrook-recompress.timer\n--user daemon-reload\n"));

  makeManager("*=ActiveState*) echo inactive ;;\n*stop*) exit 5 ;;\n");
  EXPECT_TRUE(RecompressSchedule::disable().has_value()) << "there is nothing to stop";
}

TEST_F(RecompressScheduleTest, AManagerThatRefusesIsTold) {
  makeManager("*restart*) echo Unit masked. >&2; exit 5 ;;\n");
  const auto refused = RecompressSchedule::enable();
  ASSERT_FALSE(refused.has_value());
  EXPECT_EQ(refused.error(), ScheduleError(ScheduleErrors::CommandFailed{
                                 "systemctl --user restart quillbrook-recompress.timer", 5, "Unit masked.\n"}));
  EXPECT_THAT(sentence(refused.error()), testing::EndsWith(" Unit masked."));

  makeManager("*) exit 1 ;;\n");
  EXPECT_EQ(RecompressSchedule::enable()->reach, Reach::notRunning);
  EXPECT_EQ(RecompressSchedule::disable()->reach, Reach::notRunning);
  EXPECT_EQ(RecompressSchedule::status()->reach, Reach::notRunning);

  std::filesystem::remove(folder_.path(link_).parent().bytes());
  folder_.write("config/systemd/user/timers.target.wants", "");
  EXPECT_TRUE(std::holds_alternative<ScheduleErrors::SystemFailure>(RecompressSchedule::enable().error()));
}

TEST_F(RecompressScheduleTest, ReadsBackWhatSomebodyElseHasWritten) {
  ASSERT_TRUE(RecompressSchedule::enable().has_value());
  struct Case {
    const char* text;
    const char* calendar;
    std::optional<ScheduleInterval> interval;
  };
  const std::vector<Case> cases{
      {"[Timer]\nOnCalendar = Mon 04:00 \r\nOnCalendar=daily", "Mon 04:00, daily", std::nullopt},
      {"OnCalendar=weekly\nOnCalendar=\nOnCalendar=daily\n", "daily", ScheduleInterval::daily},
      {"#OnCalendar=weekly\n;OnCalendar=weekly\nOnBootSec=1h\n", "", std::nullopt},
  };
  for (const auto& [text, calendar, interval] : cases) {
    folder_.write(timer_, text);
    const auto status = RecompressSchedule::status();
    ASSERT_TRUE(status.has_value()) << describe(status.error());
    EXPECT_TRUE(status->isEnabled);
    EXPECT_EQ(status->calendar, calendar);
    EXPECT_EQ(status->interval, interval);
  }
  // The distribution's timer, enabled by its own means; then removed, which leaves the link.
  std::filesystem::remove(folder_.at(timer_));
  std::filesystem::remove(folder_.at(link_));
  folder_.write("lib/quillbrook-recompress.timer", "OnCalendar=monthly\n");
  std::filesystem::create_symlink(folder_.at("lib/quillbrook-recompress.timer"), folder_.at(link_));
  EXPECT_EQ(RecompressSchedule::status()->interval, ScheduleInterval::monthly);
  std::filesystem::remove(folder_.at("lib/quillbrook-recompress.timer"));
  EXPECT_FALSE(RecompressSchedule::status()->isEnabled);

  ASSERT_TRUE(RecompressSchedule::enable().has_value());
  EXPECT_EQ(RecompressSchedule::status()->interval, ScheduleInterval::weekly);
}

}  // namespace
}  // namespace quillbrook
