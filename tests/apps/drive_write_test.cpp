// Writing blocks.
#include "tests/apps/drive_fixture.h"

namespace zv::testing {
namespace {

using ::testing::IsEmpty;

class WriteTest : public DriveTest {
 protected:
  static RequestTest Blocks() {
    return [](const AskedRequest& asked) { return asked.IsBlock(); };
  }
  static RequestTest Restores() { return OfMajor(MajorCode::kRestore); }
  // Opens, writes, closes; what the server holds then.
  std::string Overwrite(TextView path, int64_t offset, std::string_view data) {
    const FileHandle file = OpenFileAt(path);
    EXPECT_EQ(WriteTo(file, offset, data), DriveError::kNone);
    EXPECT_EQ(CloseFile(file), DriveError::kNone);
    return worker_.ServerFile(path).value_or("(nothing on the server)");
  }
};

TEST_F(WriteTest, WhatIsWrittenIsOnTheServerAfterTheClose) {
  const std::string content = Pattern((2 << 20) + 5);
  WriteFile(u"\\a", content);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), content);
}

TEST_F(WriteTest, WritesInBlocksOfAtMostAMebibyte) {
  WriteFile(u"\\a", Pattern((2 << 20) + 5));
  const auto log = worker_.Log(Blocks());
  ASSERT_EQ(log.size(), 3u);
  EXPECT_EQ(log[0].length, 1U << 20);
  EXPECT_EQ(log[1].length, 1U << 20);
  EXPECT_EQ(log[2].length, 5u);
  EXPECT_EQ(log[2].offset, 2 << 20);
}

TEST_F(WriteTest, OnlyTheFirstBlockOfANewFileBeginsItAnew) {
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(file, 0, "ab"), DriveError::kNone);
  EXPECT_EQ(WriteTo(file, 0, "c"), DriveError::kNone);
  EXPECT_EQ(WriteTo(file, 2, "d"), DriveError::kNone);
  const auto log = worker_.Log(Blocks());
  ASSERT_EQ(log.size(), 3u);
  EXPECT_TRUE(log[0].force);
  EXPECT_FALSE(log[1].force);
  EXPECT_FALSE(log[2].force);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "cbd");
}

TEST_F(WriteTest, ARefusedBlockIsSentAgainAndAllArrive) {
  const FileHandle file = CreateFileAt(u"\\a");
  const std::string content = Pattern(3 << 20);
  worker_.FailNextBlocks(1);
  EXPECT_EQ(WriteTo(file, 0, content), DriveError::kNone);
  worker_.SetLatch();
  EXPECT_EQ(WriteTo(file, 3 << 20, "the end"), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), content + "the end");
}

TEST_F(WriteTest, TheFailureOfOneFileIsNotTheNextOnes) {
  worker_.SetLatch();  // left behind by a file that nobody writes any more
  WriteFile(u"\\b", "whole");
  EXPECT_EQ(worker_.ServerFile(u"\\b"), "whole");
}

TEST_F(WriteTest, ABlockThatIsNeverStoredIsAnIoError) {
  const FileHandle file = CreateFileAt(u"\\a");
  worker_.FailStoring([](const AskedRequest&) { return true; });
  EXPECT_EQ(WriteTo(file, 0, "abc"), DriveError::kIo);
  EXPECT_EQ(file->size, 0);
}

TEST_F(WriteTest, AWriteThatFailsInItsMidstCountsWhatWasStored) {
  const FileHandle file = CreateFileAt(u"\\a");
  worker_.FailStoring([](const AskedRequest& asked) { return asked.offset > 0; });
  EXPECT_EQ(WriteTo(file, 0, Pattern(2 << 20)), DriveError::kIo);
  EXPECT_EQ(file->size, 1 << 20);
  worker_.FailStoring({});
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), Pattern(2 << 20).substr(0, 1 << 20));
}

TEST_F(WriteTest, BeforeACompletionTheLatchWasAsked) {
  WriteFile(u"\\a", "abc");
  const auto log = worker_.Log(OfMajor(MajorCode::kBackup));
  ASSERT_EQ(log.size(), 3u);
  EXPECT_TRUE(log[0].IsBlock());
  EXPECT_EQ(log[1].minor, MinorCode::kCacheBackup);
  EXPECT_EQ(log[1].length, 0u);
  EXPECT_FALSE(log[1].force);
  EXPECT_TRUE(log[2].IsCompletion());
}

TEST_F(WriteTest, AFirstWriteFurtherOnBeginsANewFileWithAnEmptyBlock) {
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(file, 5, "abc"), DriveError::kNone);
  const auto log = worker_.Log(Blocks());
  ASSERT_EQ(log.size(), 2u);
  EXPECT_TRUE(log[0].force);
  EXPECT_EQ(log[0].length, 0u);
  EXPECT_EQ(log[0].offset, 0);
  EXPECT_FALSE(log[1].force);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), std::string("\0\0\0\0\0abc", 8));
}

TEST_F(WriteTest, AcceptsTwoGibibytesLessAByteAndRefusesOneMore) {
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(file, 0x7FFFFFFE, "ab"), DriveError::kTooBig);
  EXPECT_EQ(WriteTo(file, 0x7FFFFFFF, "a"), DriveError::kTooBig);
  EXPECT_EQ(WriteTo(file, INT64_MAX, "a"), DriveError::kTooBig);
  EXPECT_EQ(WriteTo(file, -1, "a"), DriveError::kTooBig);
  EXPECT_EQ(drive_.Resize(*file, int64_t{1} << 31), DriveError::kTooBig);
  EXPECT_THAT(worker_.Log(Blocks()), IsEmpty());
  // The fake keeps no file of that size.
  worker_.LoseReplies([](const AskedRequest& asked) { return asked.offset == 0x7FFFFFFE; });
  EXPECT_EQ(WriteTo(file, 0x7FFFFFFE, "a"), DriveError::kIo);
  const auto blocks = worker_.Log(Blocks());
  ASSERT_FALSE(blocks.empty());
  EXPECT_EQ(blocks.back().offset, 0x7FFFFFFE);
}

TEST_F(WriteTest, AnEmptyWriteAsksNothing) {
  const FileHandle file = CreateFileAt(u"\\a");
  worker_.ClearLog();
  EXPECT_EQ(WriteTo(file, 3, ""), DriveError::kNone);
  EXPECT_THAT(worker_.Log(), IsEmpty());
  EXPECT_EQ(file->size, 0);
}

TEST_F(WriteTest, APartialOverwriteBringsTheContentInFirst) {
  const std::string content = Pattern(60'000);
  worker_.PutFile(u"\\a", content);
  std::string expected = content;
  expected.replace(100, 3, "new");
  EXPECT_EQ(Overwrite(u"\\a", 100, "new"), expected);
  const auto log = worker_.Log(Restores());
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0].offset, 0);
  EXPECT_GE(log[0].length, 51200u);
}

TEST_F(WriteTest, ASmallFileIsBroughtInWithALargeRead) {
  worker_.PutFile(u"\\a", "small one");
  EXPECT_EQ(Overwrite(u"\\a", 0, "SMALL"), "SMALL one");
  EXPECT_GE(worker_.Log(Restores()).at(0).length, 51200u);
}

TEST_F(WriteTest, AnOverwriteWhoseContentCannotBeBroughtInFailsAndSendsNothing) {
  worker_.PutFile(u"\\a", Pattern(60'000));
  const FileHandle file = OpenFileAt(u"\\a");
  worker_.RefuseRestores(true);
  EXPECT_EQ(WriteTo(file, 10, "x"), DriveError::kIo);
  worker_.RefuseRestores(false);
  worker_.LoseReplies(Restores());
  EXPECT_EQ(WriteTo(file, 10, "x"), DriveError::kIo);
  EXPECT_THAT(worker_.Log(Blocks()), IsEmpty());
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), Pattern(60'000));
}

TEST_F(WriteTest, ContentIsBroughtInOnceForManyWrites) {
  worker_.PutFile(u"\\a", Pattern(60'000));
  const FileHandle file = OpenFileAt(u"\\a");
  for (int i = 0; i < 5; ++i) EXPECT_EQ(WriteTo(file, i * 100, "x"), DriveError::kNone);
  EXPECT_EQ(worker_.Count(Restores()), 1u);
}

// The check at the second open may have dropped the content that the first one brought in.
TEST_F(WriteTest, ContentIsBroughtInAgainAfterAnotherOpenCheckedTheFile) {
  worker_.PutFile(u"\\a", Pattern(60'000));
  const FileHandle file = OpenFileAt(u"\\a");
  EXPECT_EQ(WriteTo(file, 0, "mine"), DriveError::kNone);
  EXPECT_EQ(drive_.Flush(*file, kProcess), DriveError::kNone);
  const std::string other = Pattern(70'000, 2);
  worker_.PutFile(u"\\a", other);
  EXPECT_EQ(OpenFileAt(u"\\a"), file);
  EXPECT_EQ(WriteTo(file, 69'000, "late"), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  std::string expected = other;
  expected.replace(69'000, 4, "late");
  EXPECT_EQ(worker_.ServerFile(u"\\a"), expected);
}

TEST_F(WriteTest, AppendsToAnExistingFile) {
  worker_.PutFile(u"\\a", Pattern(52'000));
  EXPECT_EQ(Overwrite(u"\\a", 52'000, "tail"), Pattern(52'000) + "tail");
}

TEST_F(WriteTest, AnEmptyExistingFileIsWrittenWithoutARestore) {
  worker_.PutFile(u"\\a", "");
  EXPECT_EQ(Overwrite(u"\\a", 0, "first"), "first");
  EXPECT_EQ(worker_.Count(Restores()), 0u);
}

TEST_F(WriteTest, CreatingRefusesWhatExistsOrCannotBe) {
  worker_.PutFile(u"\\a", "x");
  worker_.PutFolder(u"\\d");
  EXPECT_EQ(drive_.Create(u"\\a").error, DriveError::kExists);
  EXPECT_EQ(drive_.Create(u"\\d").error, DriveError::kExists);
  EXPECT_EQ(drive_.Create(u"\\no\\a").error, DriveError::kNotFound);
  EXPECT_EQ(drive_.Create(u"\\a\\b").error, DriveError::kNotFolder);
  EXPECT_EQ(drive_.Create(u"\\b?").error, DriveError::kInvalidName);
  EXPECT_EQ(drive_.Create(u"\\A").error, DriveError::kNone);  // "\a" was never used
  EXPECT_EQ(drive_.Create(u"\\A").error, DriveError::kExists);
  EXPECT_EQ(drive_.Open(u"\\a", false).error, DriveError::kNotUnique);
}

TEST_F(WriteTest, ANewFileShowsAtOnce) {
  NamesIn(u"\\");
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_TRUE(drive_.Look(u"\\a"));
  EXPECT_EQ(NamesIn(u"\\").size(), 1u);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
}

}  // namespace
}  // namespace zv::testing
