// Blocks stored in content files, and files sent to the server.
#include <gtest/gtest.h>

#include "platform/clock_testing.h"
#include "tests/cache/cache_fixture.h"
#include "worker/progress.h"

namespace zv::testing {
namespace {

class WriteBack : public CacheTest {
 protected:
  WriteBack() { account_.AddFolder("/docs", kEarly); }
  // A moment that no other test file knows.
  static constexpr int64_t kNow = 1'700'000'000;
  VirtualClock clock_{ToFileTime(FromUnix(kNow))};
  Text Record(TextView name, int64_t size) const {
    const Text now = FromUtf8(std::to_string(FromUnix(kNow).value));
    return Text(name) + u"?0?" + FromUtf8(std::to_string(size)) + u"?0?" + now + u"?" + now +
           u"\r\n";
  }
  std::optional<PendingUpload> Pending(TextView path) {
    for (const PendingUpload& upload : cache().pending().List()) {
      if (upload.path == path) return upload;
    }
    return std::nullopt;
  }
};

TEST_F(WriteBack, BlocksGoWhereTheyBelong) {
  EXPECT_TRUE(Store(u"/f", "hello", 0, true));
  EXPECT_TRUE(Store(u"/f", "WORLD", 5, false));
  EXPECT_TRUE(Store(u"/f", "E", 1, false));
  EXPECT_EQ(Content(u"/f"), "hElloWORLD");
}

TEST_F(WriteBack, OnlyAForcedBlockAtTheBeginningStartsTheFileAnew) {
  WriteContent(u"/f", "0123456789");
  EXPECT_TRUE(Store(u"/f", "ab", 0, false));
  EXPECT_EQ(Content(u"/f"), "ab23456789");
  EXPECT_TRUE(Store(u"/f", "cd", 2, true));
  EXPECT_EQ(Content(u"/f"), "abcd456789");
  EXPECT_TRUE(Store(u"/f", "x", 0, true));
  EXPECT_EQ(Content(u"/f"), "x");
}

TEST_F(WriteBack, AnEmptyForcedBlockEmptiesTheFile) {
  WriteContent(u"/f", "0123456789");
  EXPECT_TRUE(Store(u"/f", "", 0, true));
  EXPECT_EQ(Content(u"/f"), "");
}

TEST_F(WriteBack, ABlockPast2GiBIsRefused) {
  EXPECT_FALSE(Store(u"/f", "x", int64_t{0x8000'0000}, false));
  EXPECT_TRUE(home_.LogHasLine(u"CacheDebug.txt", u"Exception while Caching file!"));
}

TEST_F(WriteBack, ABlockThatCannotBeStoredIsToldInTheLog) {
  const Text file = Names().GetFileRecordName(u"/f");
  MakeFolders(file);
  EXPECT_FALSE(Store(u"/f", "x", 0, true));
  EXPECT_FALSE(Store(u"/f", "x", 1, false));
  EXPECT_TRUE(
      Logged(u"Unable to open file " + file + u" for writing file cache details, Reason: "));
}

TEST_F(WriteBack, AnEmptyBlockAfterAnEmptyFileLeavesNothingPending) {
  WriteContent(u"/f", "0123456789");
  WriteTime(u"/f", kEarly);
  EXPECT_TRUE(Store(u"/f", "", 0, true));
  EXPECT_FALSE(HasTime(u"/f"));
  EXPECT_TRUE(PendingPaths().empty());
}

TEST_F(WriteBack, ContentThatBeginsToChangeLosesItsTime) {
  WriteContent(u"/f", "0123456789");
  WriteTime(u"/f", kEarly);
  EXPECT_TRUE(Store(u"/f", "x", 3, false));
  EXPECT_FALSE(HasTime(u"/f"));
}

TEST_F(WriteBack, AFileIsSentListedTimedAndNoLongerPending) {
  WriteListing(u"/docs", u"z?1?0?0?0?0\r\n");
  Store(u"/docs/a.txt", "contents");
  EXPECT_TRUE(cache().TransferCachedFile(u"\\docs\\a.txt", true));
  EXPECT_EQ(account_.Content("/docs/a.txt"), "contents");
  EXPECT_EQ(ListingText(u"/docs"), u"z?1?0?0?0?0\r\n" + Record(u"a.txt", 8));
  EXPECT_EQ(TimeOf(u"/docs/a.txt"), 1'300'000'000);
  EXPECT_TRUE(PendingPaths().empty());
  EXPECT_EQ(Content(u"/docs/a.txt"), "contents");
}

TEST_F(WriteBack, AFileChangedAfterItWasSentLosesItsTimeAgain) {
  Store(u"/f", "1");
  EXPECT_TRUE(cache().TransferCachedFile(u"/f", true));
  EXPECT_TRUE(HasTime(u"/f"));
  Store(u"/f", "2");
  EXPECT_FALSE(HasTime(u"/f"));
}

TEST_F(WriteBack, AFileInTheRootIsListedInTheRootListing) {
  Store(u"/r.txt", "1");
  EXPECT_TRUE(cache().TransferCachedFile(u"\\r.txt", true));
  EXPECT_EQ(ListingText(u"/"), Record(u"r.txt", 1));
}

TEST_F(WriteBack, ASecondWriteBackLeavesOneRecord) {
  Store(u"/docs/a.txt", "1");
  cache().TransferCachedFile(u"/docs/a.txt", true);
  Store(u"/docs/a.txt", "22");
  cache().TransferCachedFile(u"/docs/a.txt", true);
  EXPECT_EQ(ListingText(u"/docs"), Record(u"a.txt", 2));
}

TEST_F(WriteBack, AFailedUploadIsListedKeptAndPendingWithItsReason) {
  // Nobody listens there.
  home_.SetSetting(kConnectionSubKey, u"u", u"127.51.0.1;");
  Store(u"/docs/a.txt", "contents");
  EXPECT_FALSE(cache().TransferCachedFile(u"/docs/a.txt", true));
  EXPECT_TRUE(ListingText(u"/docs").starts_with(u"a.txt?0?8?0?"));
  EXPECT_EQ(Content(u"/docs/a.txt"), "contents");
  const auto pending = Pending(u"/docs/a.txt");
  ASSERT_TRUE(pending);
  EXPECT_EQ(pending->kind, PendingKind::kContent);
  EXPECT_NE(pending->reason, u"");
}

TEST_F(WriteBack, AnUploadThatTheServerRefusesIsPendingThoughTheResultIsTrue) {
  account_.Force("PUT", 409, 1);
  Store(u"/docs/a.txt", "contents");
  EXPECT_TRUE(cache().TransferCachedFile(u"/docs/a.txt", true));
  EXPECT_TRUE(Pending(u"/docs/a.txt"));
}

TEST_F(WriteBack, APendingFileThatIsSentAtLastIsNoLongerPending) {
  account_.Force("PUT", 409, 1);
  Store(u"/docs/a.txt", "contents");
  cache().TransferCachedFile(u"/docs/a.txt", true);
  Restart();
  EXPECT_TRUE(Pending(u"/docs/a.txt"));
  EXPECT_TRUE(cache().TransferCachedFile(u"/docs/a.txt", true));
  EXPECT_FALSE(Pending(u"/docs/a.txt"));
  EXPECT_EQ(account_.Content("/docs/a.txt"), "contents");
}

TEST_F(WriteBack, AFileIsPendingWhileItIsSent) {
  std::vector<Text> during;
  account_.server().OnBody([&](const Request& request, std::string_view) {
    if (request.verb != "PUT") return;
    for (const PendingUpload& upload : PendingUploads(Names()).List())
      during.push_back(upload.path);
  });
  Store(u"/docs/a.txt", "contents");
  cache().TransferCachedFile(u"/docs/a.txt", true);
  EXPECT_EQ(during, std::vector<Text>{u"/docs/a.txt"});
}

TEST_F(WriteBack, APendingFileStaysInItsFoldersListing) {
  account_.AddFile("/docs/other", "1", kEarly);
  account_.Force("PUT", 409, 1);
  Store(u"/docs/a.txt", "contents");
  cache().TransferCachedFile(u"/docs/a.txt", true);
  account_.SetTime("/docs", kLate);
  EXPECT_EQ(Walk(u"/docs/"), (std::vector<Text>{u"other", u"a.txt"}));
  DirectoryEntry entry;
  ASSERT_TRUE(cache().GetCachedResourceDetails(u"/docs/a.txt", &entry));
  EXPECT_EQ(entry.size, 8);
}

TEST_F(WriteBack, APendingNewVersionHidesTheServersInItsFoldersListing) {
  account_.AddFile("/docs/a.txt", "the old version", kEarly);
  account_.Force("PUT", 409, 1);
  Store(u"/docs/a.txt", "new");
  cache().TransferCachedFile(u"/docs/a.txt", true);
  EXPECT_EQ(Walk(u"/docs/"), (std::vector<Text>{u"a.txt"}));
  DirectoryEntry entry;
  ASSERT_TRUE(cache().GetCachedResourceDetails(u"/docs/a.txt", &entry));
  EXPECT_EQ(entry.size, 3);
}

TEST_F(WriteBack, WithoutContentTheRecordGoesAndNothingIsPending) {
  WriteListing(u"/docs", u"a.txt?0?1?0?0?0\r\n");
  EXPECT_FALSE(cache().TransferCachedFile(u"/docs/a.txt", true));
  EXPECT_EQ(ListingText(u"/docs"), u"");
  EXPECT_TRUE(PendingPaths().empty());
  EXPECT_TRUE(LoggedAsError(u"Unable to find file " + Names().GetFileRecordName(u"/docs/a.txt") +
                            u", Reason: "));
}

TEST_F(WriteBack, AFolderKeepsItsRecord) {
  WriteListing(u"/docs", u"notes.v2?1?0?1?0?0\r\n");
  EXPECT_TRUE(cache().TransferCachedFile(u"/docs/notes.v2", true));
  EXPECT_EQ(ListingText(u"/docs"), u"notes.v2?1?0?1?0?0\r\n");
  EXPECT_TRUE(PendingPaths().empty());
  EXPECT_EQ(CacheLog(), u"");
}

TEST_F(WriteBack, APendingFileWhoseContentIsGoneIsNoLongerPending) {
  cache().pending().Add(u"/docs/a.txt", PendingKind::kContent, u"No line");
  EXPECT_FALSE(cache().TransferCachedFile(u"/docs/a.txt", true));
  EXPECT_TRUE(PendingPaths().empty());
  EXPECT_TRUE(home_.LogHasLine(u"CacheDebug.txt",
                               u"The content of /docs/a.txt is gone, and its upload with it."));
}

TEST_F(WriteBack, AFolderInTheContentsPlaceIsListedAsOne) {
  MakeFolders(Names().GetFileRecordName(u"/docs/a.txt"));
  cache().TransferCachedFile(u"/docs/a.txt", true);
  EXPECT_TRUE(ListingText(u"/docs").starts_with(u"a.txt?1?0?1?"));
}

TEST_F(WriteBack, AListingThatCannotBeOpenedIsToldInTheLog) {
  const Text listing = Names().GetDirRecordName(u"/docs");
  MakeFolders(listing);
  Store(u"/docs/a.txt", "contents");
  EXPECT_FALSE(cache().TransferCachedFile(u"/docs/a.txt", true));
  EXPECT_TRUE(
      LoggedAsError(u"Unable to open file " + listing + u" for writing cache details, Reason: "));
  EXPECT_EQ(account_.Content("/docs/a.txt"), "contents");
}

class ZeroBackup : public WriteBack {
 protected:
  bool Backup(TextView path, bool send = true) {
    TransferRequest request{.path = Text(path)};
    const bool done = cache().BackupZeroFile(request, send);
    EXPECT_EQ(request.path.find(u'\\'), Text::npos);
    return done;
  }
};

TEST_F(ZeroBackup, MakesAnEmptyFileAndListsIt) {
  EXPECT_TRUE(Backup(u"\\docs\\e.txt"));
  EXPECT_EQ(account_.Content("/docs/e.txt"), "");
  EXPECT_EQ(ListingText(u"/docs"), Record(u"e.txt", 0));
  EXPECT_EQ(account_.Count("PUT"), 1U);
  EXPECT_TRUE(PendingPaths().empty());
}

TEST_F(ZeroBackup, FiveFailuresStillListTheFileAndLeaveItPending) {
  account_.Force("PUT", 500, 100);
  EXPECT_FALSE(Backup(u"/docs/e.txt"));
  EXPECT_EQ(account_.Count("PUT"), 5U);
  EXPECT_EQ(ListingText(u"/docs"), Record(u"e.txt", 0));
  ASSERT_TRUE(Pending(u"/docs/e.txt"));
  EXPECT_EQ(Pending(u"/docs/e.txt")->kind, PendingKind::kEmpty);
  account_.SetTime("/docs", kLate);
  EXPECT_EQ(Walk(u"/docs/"), (std::vector<Text>{u"e.txt"}));
}

TEST_F(ZeroBackup, AFifthAttemptMaySucceed) {
  account_.Force("PUT", 500, 4);
  EXPECT_TRUE(Backup(u"/docs/e.txt"));
  EXPECT_EQ(account_.Count("PUT"), 5U);
  EXPECT_TRUE(PendingPaths().empty());
}

TEST_F(ZeroBackup, ReplacesTheRecordOfItsName) {
  WriteListing(u"/docs", u"e.txt?0?9?0?0?0\r\n");
  EXPECT_TRUE(Backup(u"/docs/e.txt"));
  EXPECT_EQ(ListingText(u"/docs"), Record(u"e.txt", 0));
}

TEST_F(ZeroBackup, TheTestFileClearsWhatIsCachedForIt) {
  WriteContent(u"/docs/TESTDIR.TMP", "old");
  WriteListing(u"/docs/TESTDIR.TMP", u"x?0?0?0?0?0\r\n");
  EXPECT_TRUE(Backup(u"/docs/TESTDIR.TMP"));
  EXPECT_EQ(Content(u"/docs/TESTDIR.TMP"), std::nullopt);
  EXPECT_FALSE(HasListing(u"/docs/TESTDIR.TMP"));
  EXPECT_EQ(ListingText(u"/docs"), Record(u"TESTDIR.TMP", 0));
}

TEST_F(ZeroBackup, TheTestFilesContentGoesAlsoWhenItCouldNotBeSent) {
  WriteContent(u"/docs/TESTDIR.TMP", "old");
  account_.Force("PUT", 500, 5);
  EXPECT_FALSE(Backup(u"/docs/TESTDIR.TMP"));
  EXPECT_EQ(Content(u"/docs/TESTDIR.TMP"), std::nullopt);
  EXPECT_EQ(ListingText(u"/docs"), Record(u"TESTDIR.TMP", 0));
}

TEST_F(ZeroBackup, AnyOtherCaseOfTheTestFileClearsNothing) {
  WriteContent(u"/docs/testdir.tmp", "old");
  EXPECT_TRUE(Backup(u"/docs/testdir.tmp"));
  EXPECT_EQ(Content(u"/docs/testdir.tmp"), "old");
}

TEST_F(ZeroBackup, AListingThatCannotBeOpenedIsToldInTheLog) {
  const Text listing = Names().GetDirRecordName(u"/docs");
  MakeFolders(listing);
  EXPECT_FALSE(Backup(u"/docs/e.txt"));
  EXPECT_TRUE(LoggedAsError(u"Unable to open file " + listing +
                            u" for Backup zero file cache details, Reason: "));
}

}  // namespace
}  // namespace zv::testing
