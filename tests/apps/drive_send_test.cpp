// Sending what was written: at a flush, at the close, and again after a failure.
#include "tests/apps/drive_fixture.h"

namespace zv::testing {
namespace {

using ::testing::IsEmpty;

class SendTest : public DriveTest {
 protected:
  static RequestTest Completions() { return OfMinor(MinorCode::kBackupComplete); }
};

TEST_F(SendTest, AFileClosedWithoutDataIsAZeroStepAndAnEmptyForcedBlock) {
  const FileHandle file = CreateFileAt(u"\\a");
  worker_.ClearLog();
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  const auto log = worker_.Log();
  ASSERT_EQ(log.size(), 3u);
  EXPECT_EQ(log[0].minor, MinorCode::kZeroBackup);
  EXPECT_EQ(log[0].process, kProcess);
  EXPECT_EQ(log[1].minor, MinorCode::kCacheBackup);
  EXPECT_TRUE(log[1].force);
  EXPECT_EQ(log[1].length, 0u);
  EXPECT_EQ(log[2].minor, MinorCode::kCacheBackup);  // whether it was stored
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "");
}

TEST_F(SendTest, AFileWithDataNeedsNoZeroStep) {
  WriteFile(u"\\a", "x");
  EXPECT_EQ(worker_.Count(OfMinor(MinorCode::kZeroBackup)), 0u);
  EXPECT_EQ(worker_.Count(Completions()), 1u);
  EXPECT_EQ(worker_.Log(Completions())[0].process, kProcess);
}

TEST_F(SendTest, NothingIsSentTwice) {
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(file, 0, "x"), DriveError::kNone);
  EXPECT_EQ(drive_.Flush(*file, kProcess), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "x");
  EXPECT_EQ(drive_.Flush(*file, kProcess), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.Count(Completions()), 1u);
}

TEST_F(SendTest, AFileThatWasOnlyReadSendsNothing) {
  worker_.PutFile(u"\\a", "x");
  const FileHandle file = OpenFileAt(u"\\a");
  EXPECT_EQ(ReadFrom(file, 0, 10), "x");
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.Count(OfMajor(MajorCode::kBackup)), 0u);
}

TEST_F(SendTest, TheCloseOfOneUserSendsWhatAnotherWrote) {
  const FileHandle writer = CreateFileAt(u"\\a");
  const FileHandle other = OpenFileAt(u"\\a");
  EXPECT_EQ(WriteTo(writer, 0, "x"), DriveError::kNone);
  EXPECT_EQ(CloseFile(other), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "x");
  EXPECT_EQ(CloseFile(writer), DriveError::kNone);
}

TEST_F(SendTest, AnUploadThatFailsIsToldAtTheFlush) {
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(file, 0, "x"), DriveError::kNone);
  worker_.RefuseUploads(true);
  EXPECT_EQ(drive_.Flush(*file, kProcess), DriveError::kNotStored);
  EXPECT_TRUE(worker_.IsUnsent(u"\\a"));
  EXPECT_EQ(ReadFrom(file, 0, 10), "x");
}

TEST_F(SendTest, AnUploadThatFailsIsToldAtTheClose) {
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(file, 0, "x"), DriveError::kNone);
  worker_.RefuseUploads(true);
  EXPECT_EQ(CloseFile(file), DriveError::kNotStored);
  EXPECT_EQ(drive_.Look(u"\\a").value.size, 1);
  drive_.Invalidate(u"\\a");
  EXPECT_EQ(NamesIn(u"\\").size(), 1u);
}

TEST_F(SendTest, AnEmptyFileThatCannotBeSentIsTriedAsContentAndKept) {
  worker_.RefuseUploads(true);
  EXPECT_EQ(CloseFile(CreateFileAt(u"\\a")), DriveError::kNotStored);
  EXPECT_EQ(worker_.Count(Completions()), 1u);
  EXPECT_TRUE(worker_.IsUnsent(u"\\a"));
  worker_.RefuseUploads(false);
  EXPECT_EQ(drive_.SendAgain(u"\\a", true, kProcess), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "");
}

TEST_F(SendTest, AnEmptyFileWhoseZeroStepFailsIsSentAsContent) {
  worker_.RefuseZeroFiles(true);
  EXPECT_EQ(CloseFile(CreateFileAt(u"\\a")), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "");
}

TEST_F(SendTest, SendsAgainWhatFailed) {
  worker_.RefuseUploads(true);
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(file, 0, "kept"), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNotStored);
  EXPECT_EQ(drive_.SendAgain(u"\\a", true, kProcess), DriveError::kNotStored);
  worker_.RefuseUploads(false);
  EXPECT_EQ(drive_.SendAgain(u"\\a", true, kProcess), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "kept");
  EXPECT_FALSE(worker_.IsUnsent(u"\\a"));
}

TEST_F(SendTest, AContentIsSentAgainWhateverSizeTheListingHas) {
  WriteFile(u"\\a", "");
  const FileHandle file = CreateFileAt(u"\\b");
  EXPECT_EQ(WriteTo(file, 0, "kept"), DriveError::kNone);
  worker_.RefuseUploads(true);
  EXPECT_EQ(CloseFile(file), DriveError::kNotStored);
  worker_.RefuseUploads(false);
  worker_.ClearLog();
  EXPECT_EQ(drive_.SendAgain(u"\\b", true, kProcess), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\b"), "kept");
}

TEST_F(SendTest, SendsNothingAgainThatIsOnTheServerOrBeingWritten) {
  WriteFile(u"\\a", "x");
  const FileHandle file = CreateFileAt(u"\\b");
  EXPECT_EQ(WriteTo(file, 0, "half"), DriveError::kNone);
  worker_.ClearLog();
  EXPECT_EQ(drive_.SendAgain(u"\\a", true, kProcess), DriveError::kNone);
  EXPECT_EQ(drive_.SendAgain(u"\\b", true, kProcess), DriveError::kNone);
  EXPECT_EQ(drive_.SendAgain(u"\\no", true, kProcess), DriveError::kNotFound);
  EXPECT_THAT(worker_.Log(Completions()), IsEmpty());
}

TEST_F(SendTest, WhatIsToBeSentIsCompletedEvenIfNoListingKnowsIt) {
  worker_.MarkUnsent(u"\\a");
  EXPECT_EQ(drive_.SendAgain(u"\\a", true, kProcess), DriveError::kNone);
  EXPECT_EQ(worker_.Count(Completions()), 1u);
  EXPECT_EQ(drive_.Look(u"\\a").error, DriveError::kNotFound);
}

TEST_F(SendTest, ACompletionWithoutAReplyIsAnErrorAndTriedAgainAtTheClose) {
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(file, 0, "x"), DriveError::kNone);
  worker_.LoseReplies(Completions());
  EXPECT_EQ(drive_.Flush(*file, kProcess), DriveError::kIo);
  worker_.LoseReplies({});
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "x");
}

TEST_F(SendTest, AnInterruptCancelsTheTransferThatTheCloseWaitsFor) {
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(file, 0, "x"), DriveError::kNone);
  worker_.HoldCompletions();
  worker_.SetInterrupted(true);
  EXPECT_EQ(CloseFile(file), DriveError::kNotStored);
  EXPECT_THAT(worker_.Cancelled(), ::testing::Contains(u"\\a"));
}

TEST_F(SendTest, AnInterruptEndsTheWaitForOtherTransfersAndTheFileIsSentLater) {
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(file, 0, "x"), DriveError::kNone);
  worker_.LetTransfersWait(true);
  worker_.SetInterrupted(true);
  EXPECT_EQ(drive_.Flush(*file, kProcess), DriveError::kIo);
  EXPECT_TRUE(worker_.IsUnsent(u"\\a"));
  worker_.LetTransfersWait(false);
  worker_.SetInterrupted(false);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "x");
}

TEST_F(SendTest, NothingIsCancelledWithoutAnInterrupt) {
  WriteFile(u"\\a", "x");
  EXPECT_THAT(worker_.Cancelled(), IsEmpty());
}

TEST_F(SendTest, WhatCouldNotBeNotedAsUnsentIsNoSuccessUntilItIsNotedAndSent) {
  const FileHandle file = CreateFileAt(u"\\a");
  worker_.RefuseNotes(true);
  worker_.RefuseUploads(true);
  EXPECT_EQ(WriteTo(file, 0, "x"), DriveError::kNone);
  EXPECT_EQ(drive_.Flush(*file, kProcess), DriveError::kIo);
  EXPECT_EQ(drive_.Flush(*file, kProcess), DriveError::kIo);
  worker_.RefuseNotes(false);
  worker_.RefuseUploads(false);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "x");
}

TEST_F(SendTest, TheFirstBlockIsNotedAsUnsentBeforeItIsStored) {
  const FileHandle file = CreateFileAt(u"\\a");
  bool noted = false;
  worker_.OnRequest([&](const AskedRequest& asked) {
    if (asked.IsBlock()) noted = worker_.IsUnsent(asked.path);
  });
  EXPECT_EQ(WriteTo(file, 0, "x"), DriveError::kNone);
  EXPECT_TRUE(noted);
  worker_.OnRequest({});
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_FALSE(worker_.IsUnsent(u"\\a"));
}

}  // namespace
}  // namespace zv::testing
