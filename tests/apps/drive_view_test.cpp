// Readers that look at a file's cached content where it lies.
#include "tests/apps/drive_fixture.h"

namespace zv::testing {
namespace {

using ::testing::IsEmpty;

constexpr size_t kSize = 200'000;
constexpr size_t kCopyPiece = 128 << 10;

class ViewTest : public DriveTest {
 protected:
  ViewTest() { worker_.PutFile(u"\\a", content_); }

  // Opened after it was read: its content is cached.
  FileHandle OpenCached() {
    const FileHandle first = OpenFileAt(u"\\a");
    EXPECT_EQ(ReadFrom(first, 0, kSize), content_);
    EXPECT_EQ(CloseFile(first), DriveError::kNone);
    return OpenFileAt(u"\\a");
  }
  static RequestTest Blocks() {
    return [](const AskedRequest& asked) { return asked.IsBlock(); };
  }

  const std::string content_ = Pattern(kSize);
};

TEST_F(ViewTest, BringsInAFileThatIsNotCached) {
  const FileHandle file = OpenFileAt(u"\\a");
  EXPECT_EQ(worker_.ContentVersion(u"\\a"), 0U);
  const auto view = drive_.ViewContent(file);
  ASSERT_TRUE(view);
  EXPECT_NE(worker_.ContentVersion(u"\\a"), 0U);
  EXPECT_EQ(view->content_file(), worker_.ContentFile(u"\\a"));
}

TEST_F(ViewTest, OfAFileThatCannotBeBroughtInThereIsNoneAndItsReadsFailForAWhile) {
  const FileHandle file = OpenFileAt(u"\\a");
  worker_.RefuseRestores(true);
  EXPECT_FALSE(drive_.ViewContent(file));
  worker_.RefuseRestores(false);
  worker_.ClearLog();
  EXPECT_EQ(ReadFrom(file, 0, kSize), "(the read failed)");
  EXPECT_EQ(worker_.Count(OfMajor(MajorCode::kRestore)), 0U);
}

TEST_F(ViewTest, WhoIsInterruptedWhileTheFileIsBroughtInCancelsThatAndLetsOthersRead) {
  const FileHandle file = OpenFileAt(u"\\a");
  worker_.HoldRestore();
  worker_.SetInterrupted(true);
  EXPECT_FALSE(drive_.ViewContent(file));
  EXPECT_THAT(worker_.Cancelled(), ::testing::Contains(u"\\a"));
  worker_.SetInterrupted(false);
  EXPECT_EQ(ReadFrom(file, 0, kSize), content_);
}

TEST_F(ViewTest, WhoIsInterruptedBeforeTheFileIsFetchedWaitsNoLonger) {
  const FileHandle file = OpenFileAt(u"\\a");
  worker_.LetTransfersWait(true);
  worker_.SetInterrupted(true);
  EXPECT_FALSE(drive_.ViewContent(file));
  worker_.LetTransfersWait(false);
  EXPECT_EQ(ReadFrom(file, 0, kSize), content_);
}

TEST_F(ViewTest, OfAnEmptyFileThereIsNone) {
  worker_.PutFile(u"\\a", "");
  drive_.Invalidate(u"\\a");
  EXPECT_FALSE(drive_.ViewContent(OpenFileAt(u"\\a")));
}

TEST_F(ViewTest, OfACachedFileNamesTheContentAndItsSize) {
  const FileHandle file = OpenCached();
  const auto view = drive_.ViewContent(file);
  ASSERT_TRUE(view);
  EXPECT_EQ(view->content_file(), worker_.ContentFile(u"\\a"));
  EXPECT_EQ(view->size(), static_cast<int64_t>(kSize));
}

TEST_F(ViewTest, OfContentThatIsNotTheServersThereIsNone) {
  const FileHandle file = OpenCached();
  ASSERT_EQ(WriteTo(file, 5, "new"), DriveError::kNone);
  EXPECT_FALSE(drive_.ViewContent(file));
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_TRUE(drive_.ViewContent(OpenFileAt(u"\\a")));
}

TEST_F(ViewTest, OfADeletedFileThereIsNone) {
  const FileHandle file = OpenCached();
  ASSERT_EQ(drive_.RemoveFile(u"\\a", kProcess), DriveError::kNone);
  EXPECT_FALSE(drive_.ViewContent(file));
}

TEST_F(ViewTest, WritesOfACopyAreStoredAtOnceWhileOneLives) {
  const FileHandle file = OpenCached();
  const std::string piece = Pattern(kCopyPiece, 2);
  {
    const auto view = drive_.ViewContent(file);
    ASSERT_TRUE(view);
    ASSERT_EQ(WriteTo(file, 0, piece), DriveError::kNone);
    EXPECT_FALSE(worker_.Log(Blocks()).empty());
  }
  worker_.ClearLog();
  ASSERT_EQ(WriteTo(file, 0, piece), DriveError::kNone);
  EXPECT_THAT(worker_.Log(Blocks()), IsEmpty());
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
}

class MappingTest : public ViewTest {
 protected:
  MappingTest() : file_(OpenCached()) {
    EXPECT_EQ(drive_.BeginMapping(*file_), DriveError::kNone);
    worker_.ClearLog();
  }
  static RequestTest Completions() {
    return [](const AskedRequest& asked) { return asked.IsCompletion(); };
  }
  DriveError End() {
    drive_.EndMapping(*file_);
    return CloseFile(file_);
  }

  const FileHandle file_;
  const std::string changed_ = Pattern(kSize, 3);
};

TEST_F(MappingTest, IsNotedBeforeAnythingCanBeChanged) { EXPECT_TRUE(worker_.IsUnsent(u"\\a")); }

TEST_F(MappingTest, WithoutAChangeSendsNothingAndLeavesNoNote) {
  EXPECT_EQ(drive_.Flush(*file_, kProcess), DriveError::kNone);
  EXPECT_EQ(End(), DriveError::kNone);
  EXPECT_EQ(worker_.Count(Completions()), 0U);
  EXPECT_FALSE(worker_.IsUnsent(u"\\a"));
}

TEST_F(MappingTest, SendsWhatWasChangedPastTheDrive) {
  worker_.ChangeCached(u"\\a", changed_);
  EXPECT_EQ(End(), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), changed_);
  EXPECT_FALSE(worker_.IsUnsent(u"\\a"));
}

TEST_F(MappingTest, SendsAgainWhatMayHaveBeenChangedSinceAFlush) {
  worker_.ChangeCached(u"\\a", content_);
  EXPECT_EQ(drive_.Flush(*file_, kProcess), DriveError::kNone);
  EXPECT_TRUE(worker_.IsUnsent(u"\\a"));
  worker_.ChangeCached(u"\\a", changed_);
  EXPECT_EQ(End(), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), changed_);
  EXPECT_FALSE(worker_.IsUnsent(u"\\a"));
}

TEST_F(MappingTest, SendsWhatWasWrittenThroughTheDrive) {
  EXPECT_EQ(WriteTo(file_, 0, changed_), DriveError::kNone);
  EXPECT_EQ(End(), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), changed_);
}

class MappingWithinOneTickTest : public MappingTest {
 protected:
  MappingWithinOneTickTest() {
    drive_.EndMapping(*file_);
    worker_.StopClock();
    EXPECT_EQ(drive_.BeginMapping(*file_), DriveError::kNone);
  }
};

TEST_F(MappingWithinOneTickTest, SendsWhatWasWrittenThroughTheDrive) {
  EXPECT_EQ(WriteTo(file_, 0, changed_.substr(0, 1000)), DriveError::kNone);
  EXPECT_EQ(End(), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), changed_.substr(0, 1000) + content_.substr(1000));
}

TEST_F(MappingWithinOneTickTest, SendsWhatWasGathered) {
  EXPECT_EQ(WriteTo(file_, 0, changed_.substr(0, kCopyPiece)), DriveError::kNone);
  EXPECT_EQ(End(), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"),
            changed_.substr(0, kCopyPiece) + content_.substr(kCopyPiece));
}

TEST_F(MappingTest, OfAFileThatHasUnsentWritesKeepsThem) {
  const FileHandle other = OpenFileAt(u"\\a");
  EXPECT_EQ(WriteTo(other, 0, changed_), DriveError::kNone);
  EXPECT_EQ(drive_.BeginMapping(*other), DriveError::kNone);
  drive_.EndMapping(*other);
  EXPECT_TRUE(worker_.IsUnsent(u"\\a"));
  EXPECT_EQ(CloseFile(other), DriveError::kNone);
  EXPECT_EQ(End(), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), changed_);
}

}  // namespace
}  // namespace zv::testing
