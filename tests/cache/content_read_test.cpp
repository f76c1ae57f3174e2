// Contents read from content files and from the server.
#include <gtest/gtest.h>

#include "platform/clock_testing.h"
#include "tests/cache/cache_fixture.h"
#include "worker/progress.h"

namespace zv::testing {
namespace {

class ContentRead : public CacheTest {
 protected:
  ContentRead() {
    account_.AddFile("/big.bin", big_, kEarly);
    account_.AddFile("/small.txt", "hello", kEarly);
  }
  const std::string big_ = PatternBytes(0, 120'000);
};

TEST_F(ContentRead, ASmallReadAtTheBeginningGoesPastTheCache) {
  const ReadResult result = Read(u"/big.bin", 0, 51199);
  EXPECT_TRUE(result.done);
  EXPECT_EQ(result.bytes, big_.substr(0, 51199));
  EXPECT_EQ(Content(u"/big.bin"), std::nullopt);
  // The range's end is inclusive: one byte more than asked.
  EXPECT_EQ(account_.server().requests().at(0).Header("Range"), "bytes=0-51199");
}

TEST_F(ContentRead, AReadOfTheThresholdCachesTheWholeFile) {
  const ReadResult result = Read(u"/big.bin", 0, 51200);
  EXPECT_TRUE(result.done);
  EXPECT_EQ(result.bytes, big_.substr(0, 51200));
  EXPECT_EQ(Content(u"/big.bin"), big_);
}

TEST_F(ContentRead, AReadInTheMiddleCachesTheWholeFileHoweverSmall) {
  const ReadResult result = Read(u"/big.bin", 100, 10);
  EXPECT_EQ(result.bytes, big_.substr(100, 10));
  EXPECT_EQ(Content(u"/big.bin"), big_);
}

TEST_F(ContentRead, ASmallReadEndsAtTheFilesEnd) {
  const ReadResult result = Read(u"/small.txt", 0, 100);
  EXPECT_TRUE(result.done);
  EXPECT_EQ(result.bytes, "hello");
  EXPECT_NE(result.file_size, -1);
}

TEST_F(ContentRead, ASmallReadOfAnEmptyFileGivesNothing) {
  account_.AddFile("/empty", "", kEarly);
  const ReadResult result = Read(u"/empty", 0, 100);
  EXPECT_TRUE(result.done);
  EXPECT_EQ(result.bytes, "");
  EXPECT_EQ(Content(u"/empty"), std::nullopt);
}

TEST_F(ContentRead, ASmallReadOfAnEmptyFileWhoseRangeIsRefusedGivesNothing) {
  account_.server().Enqueue(
      Reply::Status(416).Header("Content-Range", "bytes */0").Body("<html/>"));
  const ReadResult result = Read(u"/empty", 0, 100);
  EXPECT_TRUE(result.done);
  EXPECT_EQ(result.bytes, "");
}

TEST_F(ContentRead, ASmallReadIsServedByAServerThatKnowsNoRanges) {
  account_.server().On([this](const Request&) { return Reply::Status(200).Body(big_); });
  const ReadResult result = Read(u"/big.bin", 0, 51199);
  EXPECT_TRUE(result.done);
  EXPECT_EQ(result.bytes, big_.substr(0, 51199));
  EXPECT_EQ(Content(u"/big.bin"), std::nullopt);
}

TEST_F(ContentRead, ASmallReadOfAnUnsaidLengthEndsWithTheReply) {
  account_.server().Enqueue(
      Reply::Status(206).Header("Content-Range", "bytes 0-4/5").Body("hello").SayNoLength());
  const ReadResult result = Read(u"/small.txt", 0, 100);
  EXPECT_TRUE(result.done);
  EXPECT_EQ(result.bytes, "hello");
  EXPECT_NE(result.file_size, -1);
}

TEST_F(ContentRead, ASmallReadThatBreaksOffFails) {
  account_.server().Enqueue(
      Reply::Status(206).Header("Content-Range", "bytes 0-99/100").LongBody(100).CloseAfter(40));
  EXPECT_FALSE(Read(u"/small.txt", 0, 100).done);
  EXPECT_EQ(Content(u"/small.txt"), std::nullopt);
  EXPECT_TRUE(Logged(u"Error filling data from server, "));
}

TEST_F(ContentRead, ASmallReadOfAMissingFileFails) {
  EXPECT_FALSE(Read(u"/missing", 0, 100).done);
  EXPECT_EQ(Content(u"/missing"), std::nullopt);
}

TEST_F(ContentRead, ADownloadStoresTheServersTime) {
  EXPECT_TRUE(cache().CacheRestoreFile(u"/big.bin"));
  EXPECT_EQ(TimeOf(u"/big.bin"), kEarly);
  EXPECT_EQ(account_.server().request_count(), 1U);
}

TEST_F(ContentRead, ADownloadReplacesTheContentWhole) {
  WriteContent(u"/small.txt", "something older and longer");
  EXPECT_TRUE(cache().CacheRestoreFile(u"/small.txt"));
  EXPECT_EQ(Content(u"/small.txt"), "hello");
  EXPECT_TRUE(ListFolder(Names().work_folder()).empty());
}

TEST_F(ContentRead, AnEmptyFileIsBroughtAsAnEmptyContentFile) {
  account_.AddFile("/empty", "", kEarly);
  EXPECT_TRUE(cache().CacheRestoreFile(u"/empty"));
  EXPECT_EQ(Content(u"/empty"), "");
}

TEST_F(ContentRead, ADownloadThatFailsLeavesNoContentAndNoPart) {
  VirtualClock clock;
  account_.server().On(
      [](const Request&) { return Reply::Status(200).LongBody(200'000).CloseAfter(60'000); });
  EXPECT_FALSE(Read(u"/big.bin", 0, 60'000).done);
  EXPECT_EQ(Content(u"/big.bin"), std::nullopt);
  EXPECT_TRUE(ListFolder(Names().work_folder()).empty());
}

TEST_F(ContentRead, ADownloadOfAMissingFileLeavesNothing) {
  EXPECT_FALSE(cache().CacheRestoreFile(u"/missing"));
  EXPECT_EQ(Content(u"/missing"), std::nullopt);
  EXPECT_FALSE(HasTime(u"/missing"));
}

TEST_F(ContentRead, ADownloadThatCannotTakeItsPlaceFails) {
  MakeFolders(Names().GetFileRecordName(u"/small.txt"));
  EXPECT_FALSE(cache().CacheRestoreFile(u"/small.txt"));
  EXPECT_TRUE(Logged(u" to " + Names().GetFileRecordName(u"/small.txt") + u". ErrorCode: "));
  EXPECT_TRUE(ListFolder(Names().work_folder()).empty());
}

TEST_F(ContentRead, ACachedFileNeedsNoServer) {
  WriteContent(u"/c", "0123456789");
  EXPECT_EQ(Read(u"/c", 0, 4).bytes, "0123");
  EXPECT_EQ(Read(u"/c", 7, 100).bytes, "789");
  EXPECT_EQ(account_.server().request_count(), 0U);
}

TEST_F(ContentRead, BackslashesCountAsSlashes) {
  WriteContent(u"/d/c", "0123456789");
  EXPECT_EQ(Read(u"\\d\\c", 0, 4).bytes, "0123");
}

TEST_F(ContentRead, AtTheEndOfTheFileGivesNothing) {
  WriteContent(u"/c", "0123456789");
  const ReadResult result = Read(u"/c", 10, 5);
  EXPECT_TRUE(result.done);
  EXPECT_EQ(result.bytes, "");
}

TEST_F(ContentRead, PastTheEndIsRefusedAndTheContentGoes) {
  WriteContent(u"/c", "0123456789");
  const ReadResult result = Read(u"/c", 11, 5);
  EXPECT_FALSE(result.done);
  EXPECT_EQ(result.file_size, -1);
  EXPECT_EQ(Content(u"/c"), std::nullopt);
  EXPECT_TRUE(LoggedAsError(u"Invalid request, Offset > file length\r\n"));
}

TEST_F(ContentRead, PastTheEndOfAFileThatWaitsToBeSentKeepsTheContent) {
  WriteContent(u"/c", "0123456789");
  cache().pending().Add(u"/c", PendingKind::kContent, u"");
  EXPECT_FALSE(Read(u"/c", 11, 5).done);
  EXPECT_EQ(Content(u"/c"), "0123456789");
}

TEST_F(ContentRead, AtANegativeOffsetFails) {
  WriteContent(u"/c", "0123456789");
  EXPECT_FALSE(Read(u"/c", -1, 5).done);
  EXPECT_EQ(Content(u"/c"), "0123456789");
}

TEST_F(ContentRead, PositionsAreCutTo32Bits) {
  const Text file = Names().GetFileRecordName(u"/huge");
  {
    auto sparse = zv::File::Open(file, Access::kWrite, Disposition::kCreateAlways);
    sparse.SetSize(0x8000'0010);
  }
  // Not refused as past the end, but a position that is negative in 32 bits cannot be read.
  const ReadResult result = Read(u"/huge", 0x8000'0000, 5);
  EXPECT_FALSE(result.done);
  EXPECT_NE(result.file_size, -1);
  EXPECT_TRUE(FileExists(file));
}

TEST_F(ContentRead, ContentThatCannotBeOpenedReadsAsSuccessWithoutBytes) {
  MakeFolders(Names().GetFileRecordName(u"/odd"));
  const ReadResult result = Read(u"/odd", 0, 5);
  EXPECT_TRUE(result.done);
  EXPECT_EQ(result.bytes, std::string(5, '\0'));
}

class FileCheck : public CacheTest {
 protected:
  FileCheck() {
    account_.AddFolder("/d", kEarly);
    account_.AddFile("/d/f.txt", "12345", kEarly);
    WriteListing(u"/d", u"f.txt?0?3?32?100?200\r\ng?0?0?0?0?0\r\n");
    WriteContent(u"/d/f.txt", "123");
  }
};

TEST_F(FileCheck, AFileOfTheServersTimeStands) {
  WriteTime(u"/d/f.txt", kEarly);
  EXPECT_EQ(cache().CheckFileModified(u"Z:\\d\\f.txt"), 1U);
  EXPECT_EQ(Content(u"/d/f.txt"), "123");
  EXPECT_EQ(ListingText(u"/d"), u"f.txt?0?3?32?100?200\r\ng?0?0?0?0?0\r\n");
  EXPECT_EQ(account_.server().lines(), std::vector<std::string>{"HEAD /users/u/Files/d/f%2Etxt"});
}

TEST_F(FileCheck, AFileOfAnotherTimeTakesTheServersLengthAndLosesItsContent) {
  WriteTime(u"/d/f.txt", kLate);
  EXPECT_EQ(cache().CheckFileModified(u"Z:\\d\\f.txt"), 1U);
  EXPECT_EQ(Content(u"/d/f.txt"), std::nullopt);
  EXPECT_FALSE(HasTime(u"/d/f.txt"));
  EXPECT_EQ(ListingText(u"/d"), u"g?0?0?0?0?0\r\nf.txt?0?5?32?100?200\r\n");
}

TEST_F(FileCheck, AFileWithoutATimeIsTakenAsChanged) {
  EXPECT_EQ(cache().CheckFileModified(u"Z:\\d\\f.txt"), 1U);
  EXPECT_EQ(account_.server().lines(), std::vector<std::string>{"HEAD /users/u/Files/d/f%2Etxt"});
  EXPECT_EQ(Content(u"/d/f.txt"), std::nullopt);
  EXPECT_EQ(ListingText(u"/d"), u"g?0?0?0?0?0\r\nf.txt?0?5?32?100?200\r\n");
}

TEST_F(FileCheck, AFileThatTheServerDoesNotHaveLosesItsContentButNoRecord) {
  account_.Remove("/d/f.txt");
  WriteTime(u"/d/f.txt", kEarly);
  EXPECT_EQ(cache().CheckFileModified(u"Z:\\d\\f.txt"), 1U);
  EXPECT_EQ(Content(u"/d/f.txt"), std::nullopt);
  EXPECT_FALSE(HasTime(u"/d/f.txt"));
  EXPECT_EQ(ListingText(u"/d"), u"f.txt?0?3?32?100?200\r\ng?0?0?0?0?0\r\n");
}

TEST_F(FileCheck, AFileWithoutARecordGetsOneOfNameAndSize) {
  WriteListing(u"/d", u"g?0?0?0?0?0\r\n");
  EXPECT_EQ(cache().CheckFileModified(u"Z:\\d\\f.txt"), 1U);
  EXPECT_EQ(ListingText(u"/d"), u"g?0?0?0?0?0\r\nf.txt?0?5?0?0?0\r\n");
}

TEST_F(FileCheck, AFileInTheRootIsKeptInTheRootListing) {
  account_.AddFile("/r", "1234", kEarly);
  WriteListing(u"/", u"r?0?1?0?0?0\r\n");
  EXPECT_EQ(cache().CheckFileModified(u"Z:\\r"), 1U);
  EXPECT_EQ(ListingText(u"/"), u"r?0?4?0?0?0\r\n");
}

TEST_F(FileCheck, AFileThatIsBeingWrittenOverStands) {
  for (const int64_t stored : {kEarly, kLate}) {
    WriteContent(u"/d/f.txt", "123");
    WriteTime(u"/d/f.txt", stored);
    EXPECT_TRUE(Store(u"/d/f.txt", "x", 0, false));
    EXPECT_EQ(CCache().CheckFileModified(u"Z:\\d\\f.txt"), 1U);
    EXPECT_EQ(Content(u"/d/f.txt"), "x23");
    EXPECT_FALSE(HasTime(u"/d/f.txt"));
    EXPECT_TRUE(cache().TransferCachedFile(u"/d/f.txt", true));
    EXPECT_EQ(account_.Content("/d/f.txt"), "x23");
    EXPECT_TRUE(cache().pending().List().empty());
  }
}

TEST_F(FileCheck, AFileThatWaitsToBeSentIsNotAskedFor) {
  cache().pending().Add(u"/d/f.txt", PendingKind::kContent, u"");
  EXPECT_EQ(cache().CheckFileModified(u"Z:\\d\\f.txt"), 1U);
  EXPECT_EQ(Content(u"/d/f.txt"), "123");
  EXPECT_EQ(account_.server().request_count(), 0U);
}

TEST_F(FileCheck, ADownloadedFileStands) {
  Read(u"/d/f.txt", 0, 51200);
  EXPECT_TRUE(cache().CacheRestoreFile(u"/d/f.txt"));
  EXPECT_EQ(cache().CheckFileModified(u"Z:\\d\\f.txt"), 1U);
  EXPECT_EQ(Content(u"/d/f.txt"), "12345");
}

TEST_F(FileCheck, OfAPathShorterThanADriveLetterIsNoHarm) {
  EXPECT_EQ(cache().CheckFileModified(u"Z"), 1U);
  EXPECT_EQ(cache().CheckFileModified(u""), 1U);
}

class ClearCacheTest : public FileCheck {};

TEST_F(ClearCacheTest, OfOneFileTakesItsTimeFileAlong) {
  WriteTime(u"/d/f.txt", kEarly);
  const Text file = Names().GetFileRecordName(u"/d/f.txt");
  EXPECT_TRUE(cache().ClearCache(file));
  EXPECT_EQ(Content(u"/d/f.txt"), std::nullopt);
  EXPECT_FALSE(HasTime(u"/d/f.txt"));
  EXPECT_TRUE(home_.LogHasLine(u"CacheDebug.txt", u"clearing cache with " + file + u" file"));
}

TEST_F(ClearCacheTest, OfEverythingLeavesFoldersAndFilesThatWaitToBeSent) {
  MakeFolders(Folder() + u"folder");
  WriteContent(u"/waits", "only copy");
  cache().pending().Add(u"/waits", PendingKind::kContent, u"");
  EXPECT_TRUE(cache().ClearCache(u""));
  EXPECT_TRUE(home_.LogHasLine(u"CacheDebug.txt", u"clearing complete cache"));
  EXPECT_FALSE(HasListing(u"/d"));
  EXPECT_EQ(Content(u"/d/f.txt"), std::nullopt);
  EXPECT_TRUE(FileExists(Folder() + u"folder"));
  EXPECT_EQ(Content(u"/waits"), "only copy");
  EXPECT_EQ(PendingPaths(), std::vector<Text>{u"/waits"});
}

TEST_F(ClearCacheTest, OfAFileThatCannotGoIsToldInTheLog) {
  const Text file = Names().GetFileRecordName(u"/odd");
  MakeFolders(file);
  EXPECT_FALSE(cache().ClearCache(file));
  EXPECT_TRUE(Logged(u"Error clearing cache for " + file + u" file, Reason: "));
}

TEST_F(ClearCacheTest, OfAFileLeavesListingsAlone) {
  EXPECT_TRUE(cache().ClearCacheForPath(u"\\d\\f.txt\\", ClearKind::kFile));
  EXPECT_EQ(Content(u"/d/f.txt"), std::nullopt);
  EXPECT_TRUE(HasListing(u"/d"));
}

TEST_F(ClearCacheTest, OfAFolderTakesItsSubtreeAndListingsWhoseNamesBeginAlike) {
  for (const TextView folder : {u"/a", u"/a/x", u"/a/x/deep", u"/a/xyz"}) {
    WriteListing(folder, u"r?0?0?0?0?0\r\n");
    WriteTime(Text(folder) + u"/", kEarly);
    WriteContent(Text(folder) + u"/file", "c");
  }
  EXPECT_TRUE(cache().ClearCacheForPath(u"/a/x/", ClearKind::kFolder));
  EXPECT_TRUE(HasListing(u"/a"));
  EXPECT_FALSE(HasListing(u"/a/x"));
  EXPECT_FALSE(HasTime(u"/a/x/"));
  EXPECT_FALSE(HasListing(u"/a/x/deep"));
  EXPECT_FALSE(HasListing(u"/a/xyz"));
  EXPECT_TRUE(Content(u"/a/file"));
  EXPECT_FALSE(Content(u"/a/x/file"));
  EXPECT_FALSE(Content(u"/a/x/deep/file"));
  EXPECT_TRUE(Content(u"/a/xyz/file"));
}

TEST_F(ClearCacheTest, OfAFolderTreeIsTheSame) {
  EXPECT_TRUE(cache().ClearCacheForPath(u"/d", ClearKind::kFolderTree));
  EXPECT_FALSE(HasListing(u"/d"));
}

TEST_F(ClearCacheTest, OfAnyOtherKindDoesNothing) {
  EXPECT_TRUE(cache().ClearCacheForPath(u"/d", static_cast<ClearKind>(3)));
  EXPECT_TRUE(HasListing(u"/d"));
}

}  // namespace
}  // namespace zv::testing
