// Opening and reading.
#include "tests/apps/drive_fixture.h"

namespace zv::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ReadTest : public DriveTest {
 protected:
  static RequestTest Restores() { return OfMajor(MajorCode::kRestore); }
};

TEST_F(ReadTest, ReadsWhatTheServerHolds) {
  for (const size_t size : {1U, 51199U, 51200U, 51201U, 3U << 20}) {
    const std::string content = Pattern(size);
    worker_.PutFile(u"\\a", content);
    drive_.Invalidate(u"\\a");
    const FileHandle file = OpenFileAt(u"\\a");
    EXPECT_EQ(ReadFrom(file, 0, size), content) << size;
    EXPECT_EQ(ReadFrom(file, 0, size + 10), content) << size;
    EXPECT_EQ(CloseFile(file), DriveError::kNone);
  }
}

TEST_F(ReadTest, ReadsARangeInTheMiddle) {
  const std::string content = Pattern(100'000);
  worker_.PutFile(u"\\a", content);
  const FileHandle file = OpenFileAt(u"\\a");
  EXPECT_EQ(ReadFrom(file, 70'000, 500), content.substr(70'000, 500));
  EXPECT_EQ(ReadFrom(file, 99'990, 500), content.substr(99'990));
}

TEST_F(ReadTest, ReadsAtOrPastTheEndAskNothing) {
  worker_.PutFile(u"\\a", Pattern(100));
  const FileHandle file = OpenFileAt(u"\\a");
  worker_.ClearLog();
  EXPECT_EQ(ReadFrom(file, 100, 10), "");
  EXPECT_EQ(ReadFrom(file, 101, 10), "");
  EXPECT_EQ(ReadFrom(file, 50'000'000, 10), "");
  EXPECT_THAT(worker_.Log(), IsEmpty());
}

TEST_F(ReadTest, AReadPastTheEndIsCutBeforeItIsAsked) {
  worker_.PutFile(u"\\a", Pattern(60'000));
  const FileHandle file = OpenFileAt(u"\\a");
  EXPECT_EQ(ReadFrom(file, 59'000, 5'000).size(), 1'000u);
  for (const AskedRequest& asked : worker_.Log(Restores())) {
    EXPECT_LE(asked.offset + asked.length, 60'000);
  }
}

TEST_F(ReadTest, AnEmptyFileIsNeverRestored) {
  worker_.PutFile(u"\\a", "");
  const FileHandle file = OpenFileAt(u"\\a");
  EXPECT_EQ(ReadFrom(file, 0, 100), "");
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.Count(Restores()), 0u);
}

TEST_F(ReadTest, AsksForAtMostAMebibyteAtATime) {
  const std::string content = Pattern((2 << 20) + 7);
  worker_.PutFile(u"\\a", content);
  const FileHandle file = OpenFileAt(u"\\a");
  EXPECT_EQ(ReadFrom(file, 0, content.size()), content);
  const auto log = worker_.Log(Restores());
  ASSERT_EQ(log.size(), 3u);
  for (const AskedRequest& asked : log) EXPECT_LE(asked.length, 1U << 20);
}

TEST_F(ReadTest, ASmallFileIsReadSoThatItStaysInTheCache) {
  worker_.PutFile(u"\\a", Pattern(1000));
  const FileHandle file = OpenFileAt(u"\\a");
  EXPECT_EQ(ReadFrom(file, 0, 10), Pattern(1000).substr(0, 10));
  EXPECT_TRUE(worker_.IsCached(u"\\a"));
}

TEST_F(ReadTest, ChecksACleanFileAtEachOpen) {
  worker_.PutFile(u"\\a", "old");
  EXPECT_EQ(CloseFile(OpenFileAt(u"\\a")), DriveError::kNone);
  const FileHandle first = OpenFileAt(u"\\a");
  const FileHandle second = OpenFileAt(u"\\a");
  EXPECT_THAT(worker_.Checked(), ElementsAre(u"\\a", u"\\a", u"\\a"));
  EXPECT_EQ(first, second);
}

TEST_F(ReadTest, AFileThatChangedOnTheServerIsReadAnewAfterAnOpen) {
  worker_.PutFile(u"\\a", "old");
  FileHandle file = OpenFileAt(u"\\a");
  EXPECT_EQ(ReadFrom(file, 0, 100), "old");
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  worker_.PutFile(u"\\a", "a longer content");
  file = OpenFileAt(u"\\a");
  EXPECT_EQ(ReadFrom(file, 0, 100), "a longer content");
}

TEST_F(ReadTest, NeverChecksAFileWithUnsentContent) {
  worker_.PutFile(u"\\a", "old");
  const FileHandle writer = OpenFileAt(u"\\a");
  EXPECT_EQ(WriteTo(writer, 0, "new"), DriveError::kNone);
  worker_.ClearLog();
  const FileHandle reader = OpenFileAt(u"\\a");
  EXPECT_THAT(worker_.Checked(), IsEmpty());
  EXPECT_EQ(ReadFrom(reader, 0, 10), "new");
}

TEST_F(ReadTest, NeverChecksAFileWhoseUploadFailed) {
  worker_.RefuseUploads(true);
  const FileHandle writer = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(writer, 0, "only here"), DriveError::kNone);
  EXPECT_EQ(CloseFile(writer), DriveError::kNotStored);
  worker_.ClearLog();
  const FileHandle reader = OpenFileAt(u"\\a");
  EXPECT_THAT(worker_.Checked(), IsEmpty());
  EXPECT_EQ(ReadFrom(reader, 0, 100), "only here");
}

TEST_F(ReadTest, NeverChecksAFileThatWasJustMade) {
  const FileHandle writer = CreateFileAt(u"\\a");
  const FileHandle reader = OpenFileAt(u"\\a");
  EXPECT_THAT(worker_.Checked(), IsEmpty());
  EXPECT_EQ(writer, reader);
}

TEST_F(ReadTest, RefusesFilesOfTwoGibibytesAndMore) {
  worker_.PutFile(u"\\a", "x");
  worker_.PretendSize(u"\\a", int64_t{1} << 31);
  EXPECT_EQ(drive_.Open(u"\\a", false).error, DriveError::kTooBig);
  worker_.PretendSize(u"\\a", 0x7FFFFFFF);
  EXPECT_EQ(drive_.Open(u"\\a", false).error, DriveError::kNone);
}

TEST_F(ReadTest, AFileOfTwoGibibytesMayBeEmptied) {
  worker_.PutFile(u"\\a", "x");
  worker_.PretendSize(u"\\a", int64_t{1} << 31);
  const auto opened = drive_.Open(u"\\a", true);
  ASSERT_TRUE(opened);
  EXPECT_EQ(CloseFile(opened.value.file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "");
}

TEST_F(ReadTest, TellsWhetherTheContentIsTheOneThatWasReadBefore) {
  worker_.PutFile(u"\\a", "old");
  auto opened = drive_.Open(u"\\a", false);
  EXPECT_FALSE(opened.value.is_unchanged);
  EXPECT_EQ(ReadFrom(opened.value.file, 0, 100), "old");
  EXPECT_EQ(CloseFile(opened.value.file), DriveError::kNone);
  opened = drive_.Open(u"\\a", false);
  EXPECT_TRUE(opened.value.is_unchanged);
  EXPECT_EQ(CloseFile(opened.value.file), DriveError::kNone);
  worker_.PutFile(u"\\a", "new");
  EXPECT_FALSE(drive_.Open(u"\\a", false).value.is_unchanged);
}

TEST_F(ReadTest, AFailedRestoreIsAnIoError) {
  worker_.PutFile(u"\\a", Pattern(60'000));
  const FileHandle file = OpenFileAt(u"\\a");
  worker_.RefuseRestores(true);
  std::vector<std::byte> into(100);
  EXPECT_EQ(drive_.Read(*file, 0, into).error, DriveError::kIo);
  EXPECT_EQ(drive_.Read(*file, 100, into).error, DriveError::kIo);
}

// The reads that were on their way would start a cancelled download over.
TEST_F(ReadTest, AfterAFailedReadTheNextOnesFailUntilTheFileIsOpenedAgain) {
  worker_.PutFile(u"\\a", Pattern(60'000));
  const FileHandle file = OpenFileAt(u"\\a");
  worker_.RefuseRestores(true);
  EXPECT_EQ(ReadFrom(file, 0, 100), "(the read failed)");
  worker_.RefuseRestores(false);
  worker_.ClearLog();
  EXPECT_EQ(ReadFrom(file, 100, 100), "(the read failed)");
  EXPECT_EQ(worker_.Count(Restores()), 0u);
  EXPECT_EQ(OpenFileAt(u"\\a"), file);
  EXPECT_EQ(ReadFrom(file, 100, 100), Pattern(60'000).substr(100, 100));
}

TEST_F(ReadTest, AFailedReadKeepsNobodyFromReadingWhatWasWrittenSince) {
  worker_.PutFile(u"\\a", Pattern(60'000));
  const FileHandle file = OpenFileAt(u"\\a");
  worker_.RefuseRestores(true);
  EXPECT_EQ(ReadFrom(file, 0, 100), "(the read failed)");
  EXPECT_EQ(drive_.Resize(*file, 0), DriveError::kNone);
  EXPECT_EQ(WriteTo(file, 0, "new"), DriveError::kNone);
  EXPECT_EQ(ReadFrom(file, 0, 100), "new");
}

class NoPauseReadTest : public DriveTest {
 protected:
  NoPauseReadTest()
      : DriveTest(DriveOptions{.drive_letter = u"Z:",
                               .walk_lifetime = kLongLifetime,
                               .failed_read_pause = std::chrono::milliseconds(0)}) {}
};

TEST_F(NoPauseReadTest, AfterThePauseAReadIsTriedAgain) {
  worker_.PutFile(u"\\a", Pattern(60'000));
  const FileHandle file = OpenFileAt(u"\\a");
  worker_.RefuseRestores(true);
  EXPECT_EQ(ReadFrom(file, 0, 100), "(the read failed)");
  worker_.RefuseRestores(false);
  EXPECT_EQ(ReadFrom(file, 0, 100), Pattern(60'000).substr(0, 100));
}

// Part of it may be of the one version, part of the other.
TEST_F(NoPauseReadTest, AReadThatBringsLessThanTheFileHasIsAnIoError) {
  worker_.PutFile(u"\\a", Pattern(1000));
  worker_.PretendSize(u"\\a", 2000);
  const FileHandle file = OpenFileAt(u"\\a");
  std::vector<std::byte> into(2000);
  EXPECT_EQ(drive_.Read(*file, 0, into).error, DriveError::kIo);
  EXPECT_EQ(drive_.Read(*file, 500, into).error, DriveError::kIo);
}

TEST_F(ReadTest, OpensNeitherFoldersNorWhatIsNotThere) {
  worker_.PutFolder(u"\\d");
  EXPECT_EQ(drive_.Open(u"\\d", false).error, DriveError::kIsFolder);
  EXPECT_EQ(drive_.Open(u"\\", false).error, DriveError::kIsFolder);
  EXPECT_EQ(drive_.Open(u"\\no", false).error, DriveError::kNotFound);
}

TEST_F(ReadTest, AFileWhoseQueryAloneFailsIsOpenedAsItsFolderListsIt) {
  worker_.PutFile(u"\\a", "old");
  NamesIn(u"\\");
  worker_.FailQueries(true);
  worker_.PutFile(u"\\a", "newer");
  const FileHandle file = OpenFileAt(u"\\a");
  ASSERT_TRUE(file);
  EXPECT_EQ(ReadFrom(file, 0, 10), "newer");
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
}

TEST_F(ReadTest, AFileThatCountsAsUnsentWithoutItsContentIsFetchedBeforeAWrite) {
  worker_.PutFile(u"\\a", "0123456789");
  worker_.MarkUnsent(u"\\a");  // as every file is while the list cannot be read
  const FileHandle file = OpenFileAt(u"\\a");
  ASSERT_TRUE(file);
  EXPECT_EQ(WriteTo(file, 5, "x"), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "01234x6789");
}

TEST_F(ReadTest, AFileThatVanishedSinceItWasListedIsNotFound) {
  worker_.PutFile(u"\\a", "x");
  NamesIn(u"\\");
  worker_.FailQueries(true);
  worker_.RemoveFromServer(u"\\a");
  EXPECT_EQ(drive_.Open(u"\\a", false).error, DriveError::kNotFound);
  EXPECT_EQ(drive_.Look(u"\\a").error, DriveError::kNotFound);
}

TEST_F(ReadTest, TheSecondOfTwoFilesWithOneCacheNameIsRefusedUntilTheFirstIsGone) {
  worker_.PutFolder(u"\\a");
  worker_.PutFile(u"\\a\\b.txt", "below");
  worker_.PutFile(u"\\a#b.txt", "beside");
  worker_.PutFile(u"\\Case", "upper");
  worker_.PutFile(u"\\case", "lower");
  EXPECT_EQ(CloseFile(OpenFileAt(u"\\a\\b.txt")), DriveError::kNone);
  EXPECT_EQ(CloseFile(OpenFileAt(u"\\case")), DriveError::kNone);
  EXPECT_EQ(drive_.Open(u"\\a#b.txt", false).error, DriveError::kNotUnique);
  EXPECT_EQ(drive_.Open(u"\\Case", false).error, DriveError::kNotUnique);
  EXPECT_EQ(drive_.RemoveFile(u"\\a\\b.txt", kProcess), DriveError::kNone);
  EXPECT_EQ(ReadFrom(OpenFileAt(u"\\a#b.txt"), 0, 100), "beside");
  EXPECT_EQ(drive_.Rename(u"\\case", u"\\other", false, kProcess), DriveError::kNone);
  EXPECT_EQ(ReadFrom(OpenFileAt(u"\\Case"), 0, 100), "upper");
}

}  // namespace
}  // namespace zv::testing
