// Cutting, emptying and growing files.
#include "tests/apps/drive_fixture.h"

namespace zv::testing {
namespace {

using ::testing::IsEmpty;

class ResizeTest : public DriveTest {
 protected:
  std::vector<AskedRequest> Blocks() const {
    return worker_.Log([](const AskedRequest& asked) { return asked.IsBlock(); });
  }
  void ExpectOnServer(TextView path, const std::string& content) {
    const auto held = worker_.ServerFile(path);
    ASSERT_TRUE(held);
    EXPECT_EQ(held->size(), content.size());
    EXPECT_TRUE(*held == content);
  }
};

TEST_F(ResizeTest, AShrunkFileIsReadAndSentAgainFromItsStart) {
  const std::string content = Pattern(60'000);
  worker_.PutFile(u"\\a", content);
  const FileHandle file = OpenFileAt(u"\\a");
  EXPECT_EQ(drive_.Resize(*file, 1000), DriveError::kNone);
  const auto blocks = Blocks();
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_TRUE(blocks[0].force);
  EXPECT_EQ(blocks[0].offset, 0);
  EXPECT_EQ(blocks[0].length, 1000u);
  EXPECT_EQ(drive_.Look(u"\\a").value.size, 1000);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  ExpectOnServer(u"\\a", content.substr(0, 1000));
}

TEST_F(ResizeTest, AShrunkFileOfManyBlocksForcesTheFirstOnly) {
  const std::string content = Pattern((3 << 20) + 11);
  worker_.PutFile(u"\\a", content);
  const size_t size = (2 << 20) + 3;
  EXPECT_EQ(drive_.ResizePath(u"\\a", static_cast<int64_t>(size), kProcess), DriveError::kNone);
  const auto blocks = Blocks();
  ASSERT_EQ(blocks.size(), 3u);
  EXPECT_TRUE(blocks[0].force);
  EXPECT_FALSE(blocks[1].force);
  EXPECT_FALSE(blocks[2].force);
  ExpectOnServer(u"\\a", content.substr(0, size));
}

TEST_F(ResizeTest, ShrinksWhatIsBeingWritten) {
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(file, 0, "0123456789"), DriveError::kNone);
  EXPECT_EQ(drive_.Resize(*file, 4), DriveError::kNone);
  EXPECT_EQ(WriteTo(file, 4, "x"), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  ExpectOnServer(u"\\a", "0123x");
}

TEST_F(ResizeTest, AFileThatCannotBeReadIsNotShrunk) {
  worker_.PutFile(u"\\a", Pattern(60'000));
  worker_.RefuseRestores(true);
  EXPECT_EQ(drive_.ResizePath(u"\\a", 10, kProcess), DriveError::kIo);
  EXPECT_THAT(Blocks(), IsEmpty());
  ExpectOnServer(u"\\a", Pattern(60'000));
}

TEST_F(ResizeTest, ACutThatFailsInItsMidstIsGivenUpWhereTheServerHasTheFile) {
  const std::string content = Pattern(3 * kLargestBlock);
  worker_.PutFile(u"\\a", content);
  const FileHandle file = OpenFileAt(u"\\a");
  constexpr int64_t kKept = 2 * kLargestBlock + 5;
  for (const int64_t fails_at : {int64_t{0}, int64_t{kLargestBlock}, int64_t{2 * kLargestBlock}}) {
    worker_.FailStoring([&](const AskedRequest& asked) { return asked.offset == fails_at; });
    EXPECT_EQ(drive_.Resize(*file, kKept), DriveError::kIo);
    EXPECT_EQ(drive_.Look(u"\\a").value.size, static_cast<int64_t>(content.size()));
    EXPECT_FALSE(worker_.IsUnsent(u"\\a"));
    EXPECT_TRUE(ReadFrom(file, 0, content.size()) == content);
  }
  worker_.FailStoring({});
  EXPECT_EQ(WriteTo(file, kKept, "x"), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  ExpectOnServer(u"\\a", std::string(content).replace(kKept, 1, "x"));
}

TEST_F(ResizeTest, ACutByNameThatFailsSendsNothing) {
  const std::string content = Pattern(60'000);
  worker_.PutFile(u"\\a", content);
  worker_.FailStoring([](const AskedRequest&) { return true; });
  EXPECT_EQ(drive_.ResizePath(u"\\a", 10, kProcess), DriveError::kIo);
  EXPECT_EQ(worker_.Count([](const AskedRequest& asked) { return asked.IsCompletion(); }), 0U);
  EXPECT_FALSE(worker_.IsCached(u"\\a"));
  ExpectOnServer(u"\\a", content);
}

TEST_F(ResizeTest, AGrownFileEndsInZeros) {
  worker_.PutFile(u"\\a", "abc");
  EXPECT_EQ(drive_.ResizePath(u"\\a", 6, kProcess), DriveError::kNone);
  ExpectOnServer(u"\\a", std::string("abc\0\0\0", 6));
  const FileHandle file = CreateFileAt(u"\\b");
  EXPECT_EQ(drive_.Resize(*file, 1), DriveError::kNone);
  EXPECT_EQ(drive_.Resize(*file, 3), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  ExpectOnServer(u"\\b", std::string(3, '\0'));
}

TEST_F(ResizeTest, TheSizeThatAFileHasIsNoChange) {
  worker_.PutFile(u"\\a", "abc");
  const FileHandle file = OpenFileAt(u"\\a");
  worker_.ClearLog();
  EXPECT_EQ(drive_.Resize(*file, 3), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_THAT(worker_.Log(), IsEmpty());
}

TEST_F(ResizeTest, AFileTruncatedToNothingAndRewrittenHoldsTheNewContentOnly) {
  worker_.PutFile(u"\\a", Pattern(60'000));
  const auto opened = drive_.Open(u"\\a", true);
  ASSERT_TRUE(opened);
  EXPECT_FALSE(opened.value.is_unchanged);
  EXPECT_EQ(opened.value.file->size, 0);
  EXPECT_EQ(WriteTo(opened.value.file, 0, "short"), DriveError::kNone);
  EXPECT_EQ(CloseFile(opened.value.file), DriveError::kNone);
  ExpectOnServer(u"\\a", "short");
  EXPECT_EQ(worker_.Count(OfMajor(MajorCode::kRestore)), 0u);
  EXPECT_EQ(worker_.Count(OfMinor(MinorCode::kZeroBackup)), 0u);
}

TEST_F(ResizeTest, AFileTruncatedToNothingIsSentWithoutData) {
  worker_.PutFile(u"\\a", Pattern(60'000));
  EXPECT_EQ(ReadFrom(OpenFileAt(u"\\a"), 0, 60'000).size(), 60'000u);
  EXPECT_EQ(drive_.ResizePath(u"\\a", 0, kProcess), DriveError::kNone);
  ExpectOnServer(u"\\a", "");
  EXPECT_EQ(ReadFrom(OpenFileAt(u"\\a"), 0, 100), "");
  EXPECT_EQ(WriteTo(OpenFileAt(u"\\a"), 0, "x"), DriveError::kNone);
  EXPECT_EQ(ReadFrom(OpenFileAt(u"\\a"), 0, 100), "x");
}

// The size that the listing gives may be an old one.
TEST_F(ResizeTest, AFileThatSeemsEmptyIsTruncatedAllTheSame) {
  worker_.PutFile(u"\\a", "");
  NamesIn(u"\\");
  worker_.PutFile(u"\\a", "grown since");
  const auto opened = drive_.Open(u"\\a", true);
  ASSERT_TRUE(opened);
  EXPECT_EQ(CloseFile(opened.value.file), DriveError::kNone);
  ExpectOnServer(u"\\a", "");
}

TEST_F(ResizeTest, WhatWasWrittenAndTruncatedAgainLeavesAnEmptyFile) {
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(file, 0, "0123456789"), DriveError::kNone);
  EXPECT_EQ(drive_.Resize(*file, 0), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  ExpectOnServer(u"\\a", "");
  EXPECT_FALSE(worker_.IsUnsent(u"\\a"));
}

TEST_F(ResizeTest, ResizingWhatIsNotThereFails) {
  worker_.PutFolder(u"\\d");
  EXPECT_EQ(drive_.ResizePath(u"\\no", 5, kProcess), DriveError::kNotFound);
  EXPECT_EQ(drive_.ResizePath(u"\\d", 5, kProcess), DriveError::kIsFolder);
  worker_.PutFile(u"\\a", "abc");
  drive_.Invalidate(u"\\a");
  EXPECT_EQ(drive_.ResizePath(u"\\a", -1, kProcess), DriveError::kTooBig);
}

}  // namespace
}  // namespace zv::testing
