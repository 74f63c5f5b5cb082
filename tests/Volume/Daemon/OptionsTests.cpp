// SPDX-License-Identifier: MIT

#include "Support/Prelude.h"
#include "Volume/Daemon/Options.h"

namespace quillbrook {
namespace {

using Arguments = std::vector<std::string>;

TEST(OptionsTest, ReadsWhatUsersAndMountHelpersWriteAndRefusesTheRest) {
  using Reason = OptionsError::Reason;
  const FilePath s("/s");
  const FilePath m("/m");
  const std::vector<std::string> others{"ro", "allow_other"};
  const auto refused = [](Reason reason, const char* word = "") { return std::unexpected(OptionsError{reason, word}); };
  // Source, mount point, descriptor, foreground, read-only, the mount's options.
  const std::vector<std::pair<Arguments, std::expected<Options, OptionsError>>> cases{
      {{"/s"}, Options{s, s, {}, false, false, {}}},
      {{"-f", "/s"}, Options{s, s, {}, true, false, {}}},
      {{"/s", "/m", "-o", "rw,ro,allow_other,noauto,x-systemd.automount,_netdev"},
       Options{s, m, {}, false, true, others}},
      {{"-t", "fuse.quillbrook", "-oro,allow_other", "-n", "/s", "/m"}, Options{s, m, {}, false, true, others}},
      {{"--fd", "7", "/s", "/m"}, Options{s, m, 7, false, false, {}}},
      {{"--fd=7", "/s", "/m"}, Options{s, m, 7, false, false, {}}},
      {{"/s", "/dev/fd/5"}, Options{s, FilePath("/dev/fd/5"), 5, false, false, {}}},
      {{"--", "-s"}, Options{FilePath("-s"), FilePath("-s"), {}, false, false, {}}},
      {{}, refused(Reason::wrongPathCount)},
      {{"/a", "/b", "/c"}, refused(Reason::wrongPathCount)},
      {{""}, refused(Reason::wrongPathCount)},
      {{"/a", ""}, refused(Reason::wrongPathCount)},
      {{"--fd", "x", "/s"}, refused(Reason::descriptorMissing)},
      {{"--fd"}, refused(Reason::descriptorMissing)},
      {{"-x", "/s"}, refused(Reason::unknownOption, "-x")},
      {{"/s", "/dev/fd/x"}, refused(Reason::notADescriptor, "/dev/fd/x")},
      {{"/s", "-o"}, refused(Reason::listMissing)},
      {{"/s", "-t"}, refused(Reason::typeMissing)},
      {{"/s", "--help"}, refused(Reason::helpWanted)},
  };
  for (const auto& [arguments, expected] : cases) {
    EXPECT_TRUE(Options::parse(arguments) == expected) << testing::PrintToString(arguments);
  }
}

}  // namespace
}  // namespace quillbrook
