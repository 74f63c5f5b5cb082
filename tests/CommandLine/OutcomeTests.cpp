// SPDX-License-Identifier: MIT

#include "CommandLine/Outcome.h"
#include "Platform/ErrorNumber.h"
#include "Support/Prelude.h"

namespace quillbrook {
namespace {

TEST(Outcome, EveryRefusalCountsAsDecided) {
  const FilePath url("/a");
  const auto skipped = Outcome::skipped;
  const auto failed = Outcome::failed;
  struct Case {
    EngineError error;
    Outcome compress;
    Outcome decompress;
  };
  const std::vector<Case> cases{
      {FileCompressionError(FileNotFound{url}), failed, failed},
      {FileCompressionError(NotARegularFile{url}), skipped, skipped},
      {FileCompressionError(SymbolicLink{url}), skipped, skipped},
      {FileCompressionError(HardLinked{url, 2}), skipped, skipped},
      {FileCompressionError(AlreadyCompressed{url}), skipped, failed},
      {FileCompressionError(NotCompressed{url}), failed, skipped},
      {FileCompressionError(CompressionDidNotReduceSize{url}), skipped, failed},
      {FileCompressionError(FileInUse{url}), skipped, skipped},
      {FileCompressionError(RoundtripVerificationFailed{url}), failed, failed},
      {FileCompressionError(FileTooLargeForFormat{url, 2'147'483'648}), skipped, failed},
      {FileCompressionError(HasResourceFork{url}), skipped, failed},
      {FileCompressionError(FileChangedDuringOperation{url}), skipped, skipped},
      {FileCompressionError(TemporaryFileConflict{url}), failed, failed},
      {FileCompressionError(IOError{url, "lstat: errno=5"}), failed, failed},
      {DecmpfsHeaderError(InvalidMagic{}), failed, failed},
  };
  std::set<std::string> labels;
  for (const auto& [error, compress, decompress] : cases) {
    SCOPED_TRACE(describe(error));
    EXPECT_EQ(OutcomeTable::outcome(OperationKind::compress, error), compress);
    EXPECT_EQ(OutcomeTable::outcome(OperationKind::decompress, error), decompress);
    EXPECT_TRUE(labels.insert(OutcomeTable::label(error)).second) << "two cases would be counted as one";
    EXPECT_THAT(OutcomeTable::sentence(error), testing::HasSubstr(OutcomeTable::label(error)));
  }
}

TEST(Outcome, SystemFailuresAreToldInTheSystemsWords) {
  const auto sentence = [](const IOError& error) { return OutcomeTable::sentence(FileCompressionError(error)); };
  const FilePath url("/a");
  EXPECT_EQ(sentence(IOError::numbered(url, "rename", ErrorNumber::readOnly)),
            "a system call failed; it is on a read-only mount: mount that for writing and try again: rename: Read-only "
            "file system");
  EXPECT_EQ(sentence(IOError{url, "unexpected EOF (got 12"}),
            "a system call failed; the file was left as it is; try again: unexpected EOF (got 12");
  // Trying again helps against none of these.
  for (const auto& [call, number, words] : {std::tuple("open", EACCES, "bind mount"),
                                            {"rename", EPERM, "immutable"},
                                            {"read compressed", ENOTSUP, "newer"},
                                            {"read source", EIO, "volume check"},
                                            {"create slimtmp", ENAMETOOLONG, "shorten its name"},
                                            {"write rsrc fork", EDQUOT, "quota"},
                                            {"chflags", ENOSPC, "do not fit"},
                                            {"rename", EIO, "volume restore"}}) {
    EXPECT_THAT(sentence(IOError::numbered(url, call, ErrorNumber{number})), testing::HasSubstr(words));
  }
  // The user's file is sound where its replacement cannot be read.
  EXPECT_THAT(sentence(IOError::worded(FilePath("/a.slimtmp"), "readback", ErrorNumber::inputOutput)),
              testing::AllOf(testing::HasSubstr("left as it is"), testing::Not(testing::HasSubstr("volume check"))));
  // Only a refused flag means that there is no volume.
  for (const auto& [call, number] :
       {std::pair("chflags", ErrorNumber::noSpace), {"setxattr", ErrorNumber::notSupported}}) {
    EXPECT_FALSE(OutcomeTable::isOutsideVolume(FileCompressionError(IOError::numbered(url, call, number))));
  }
}

}  // namespace
}  // namespace quillbrook
