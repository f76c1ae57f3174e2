// The disk beneath the cache is full.
#include "tests/apps/drive_fixture.h"

namespace zv::testing {
namespace {

class FullDiskTest : public DriveTest {
 protected:
  FullDiskTest() {
    worker_.PutFile(u"\\large", large_);
    worker_.PutFile(u"\\small", "small content");
  }
  void FillDisk() {
    worker_.SetRoom(100);
    worker_.FailStoring([](const AskedRequest&) { return true; });
  }
  void FreeDisk() {
    worker_.SetRoom(INT64_MAX);
    worker_.FailStoring({});
  }

  const std::string large_ = Pattern(60'000);
};

TEST_F(FullDiskTest, AWriteThatDoesNotFitSaysSo) {
  const FileHandle file = CreateFileAt(u"\\a");
  FillDisk();
  EXPECT_EQ(WriteTo(file, 0, "abc"), DriveError::kNoSpace);
  EXPECT_EQ(drive_.Resize(*file, 10), DriveError::kNoSpace);
}

TEST_F(FullDiskTest, WhatIsStoredAfterItsWriteSaysSoLater) {
  const FileHandle file = CreateFileAt(u"\\a");
  FillDisk();
  EXPECT_EQ(WriteTo(file, 0, large_ + large_), DriveError::kNone);
  EXPECT_EQ(drive_.Flush(*file, kProcess), DriveError::kNoSpace);
}

TEST_F(FullDiskTest, ABlockThatIsRefusedWhileThereIsRoomIsAnIoError) {
  const FileHandle file = CreateFileAt(u"\\a");
  worker_.SetRoom(4096);
  worker_.FailStoring([](const AskedRequest&) { return true; });
  EXPECT_EQ(WriteTo(file, 0, "abc"), DriveError::kIo);
}

TEST_F(FullDiskTest, AFileThatDoesNotFitIsNotAskedFor) {
  const FileHandle file = OpenFileAt(u"\\large");
  FillDisk();
  std::byte into[10];
  EXPECT_EQ(drive_.Read(*file, 0, into).error, DriveError::kNoSpace);
  EXPECT_EQ(WriteTo(file, 0, "abc"), DriveError::kNoSpace);
  EXPECT_EQ(drive_.Resize(*file, 10), DriveError::kNoSpace);
  EXPECT_FALSE(drive_.ViewContent(file));
  EXPECT_EQ(worker_.Count(OfMajor(MajorCode::kRestore)), 0u);
  FreeDisk();
  EXPECT_EQ(ReadFrom(file, 0, 60'000), large_);
}

TEST_F(FullDiskTest, WhatIsCachedIsReadAllTheSame) {
  const FileHandle file = OpenFileAt(u"\\large");
  EXPECT_EQ(ReadFrom(file, 0, 60'000), large_);
  FillDisk();
  EXPECT_EQ(ReadFrom(file, 0, 60'000), large_);
  EXPECT_EQ(ReadFrom(OpenFileAt(u"\\large"), 0, 60'000), large_);
}

TEST_F(FullDiskTest, ASmallFileIsReadPastTheCache) {
  worker_.SetRoom(0);
  EXPECT_EQ(ReadFrom(OpenFileAt(u"\\small"), 0, 100), "small content");
  EXPECT_FALSE(worker_.IsCached(u"\\small"));
}

TEST_F(FullDiskTest, WhatWasSeenOfAFolderThatCannotBeListedCanBeDeleted) {
  NamesIn(u"\\");
  drive_.Invalidate(u"\\small");
  worker_.SetRoom(0);
  worker_.FailWalks(true);
  worker_.FailQueries(true);
  EXPECT_EQ(drive_.Look(u"\\unseen").error, DriveError::kNoSpace);
  EXPECT_EQ(drive_.RemoveFile(u"\\small", kProcess), DriveError::kNone);
  EXPECT_FALSE(worker_.ServerFile(u"\\small"));
}

TEST_F(FullDiskTest, AListingThatCannotBeKeptSaysSo) {
  worker_.SetRoom(0);
  worker_.FailWalks(true);
  EXPECT_EQ(drive_.List(u"\\").error, DriveError::kNoSpace);
}

}  // namespace
}  // namespace zv::testing
