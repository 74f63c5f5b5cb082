// SPDX-License-Identifier: MIT

#include "Models/StoreError.h"
#include "Support/Prelude.h"

namespace quillbrook::test {
namespace {

using namespace StoreErrors;

TEST(StoreErrorText, NamesTheCaseAndTellsWhatToDo) {
  const FilePath store("/s\xFF");
  struct Case {
    StoreError error;
    std::string described;
    std::string told;
  };
  const std::vector<Case> cases{
      {CannotOpen{store, ErrorNumber::accessDenied, "unable to open database file"},
       "cannotOpen(store: /s\uFFFD, reason: 13, words: unable to open database file)",
       "Could not open the store /s\uFFFD; see that its folder exists and that you may read and write both: unable to "
       "open database file (Permission denied)."},
      {Busy{store, StoreAction::save, "database is locked"},
       "busy(store: /s\uFFFD, action: save, words: database is locked)",
       "Could not save to the store /s\uFFFD, since another program keeps it locked; let that end and try again: "
       "database is locked."},
      {NewerVersion{store, "3.0.0"}, "newerVersion(store: /s\uFFFD, version: 3.0.0)",
       "The store /s\uFFFD was written by a later version of Quillbrook (schema 3.0.0) and has been left as it is; use "
       "that version."},
      {Failed{store, StoreAction::read, 266, {}, "disk I/O error"},
       "failed(store: /s\uFFFD, action: read, code: 266, reason: 0, words: disk I/O error)",
       "Could not read the store /s\uFFFD; put right what the system says and try again: disk I/O error."},
  };
  for (const auto& [error, described, told] : cases) {
    EXPECT_EQ(describe(error), described);
    EXPECT_EQ(sentence(error), told);
  }
}

}  // namespace
}  // namespace quillbrook::test
