// Sync accounts: settings, listings, downloads, and a library that is not there.
#include "tests/cache/sync_fixture.h"

namespace zv::testing {
namespace {

TEST_F(SyncTest, TheAccountIsPassedInOrderWithItsSecretsInClear) {
  SetListing({});
  EXPECT_TRUE(cache().CacheFolderContents(u"/Docs"));
  EXPECT_EQ(recorder_.calls.at(0).arguments, (List{u"/", u"syncuser", u"pass", u"DEFAULT",
                                                   u"app.example", u"web.example", u"DEFAULT"}));
}

TEST_F(SyncTest, SecretsWithoutAColonAreKeptWhole) {
  home_.SetSetting(kConnectionSubKey, u"ZVSync_psd", RaiseBy20(u"whole"));
  home_.SetSetting(kConnectionSubKey, u"u_ZVSync_enc", RaiseBy20(u"mine"));
  const SyncAccount account = ReadSyncAccount(SyncTrim::kNone);
  EXPECT_EQ(account.password, u"whole");
  EXPECT_EQ(account.key, u"mine");
  EXPECT_EQ(account.key_type, u"PRIVATE");
}

TEST_F(SyncTest, AMissingKeyIsEmptyAndPrivate) {
  home_.RemoveSetting(kConnectionSubKey, u"u_ZVSync_enc");
  EXPECT_EQ(ReadSyncAccount(SyncTrim::kNone).key, u"");
  EXPECT_EQ(ReadSyncAccount(SyncTrim::kNone).key_type, u"PRIVATE");
}

TEST_F(SyncTest, OperationsDifferInWhatTheyTrim) {
  home_.SetSetting(kConnectionSubKey, u"ZVSync_usr", u" me ");
  home_.SetSetting(kConnectionSubKey, u"Appserver", u" app ");
  EXPECT_EQ(ReadSyncAccount(SyncTrim::kNone).user, u" me ");
  EXPECT_EQ(ReadSyncAccount(SyncTrim::kNone).app_server, u" app ");
  EXPECT_EQ(ReadSyncAccount(SyncTrim::kServers).user, u" me ");
  EXPECT_EQ(ReadSyncAccount(SyncTrim::kServers).app_server, u"app");
  EXPECT_EQ(ReadSyncAccount(SyncTrim::kAll).user, u"me");
  EXPECT_EQ(ReadSyncAccount(SyncTrim::kAll).app_server, u"app");
}

TEST_F(SyncTest, AListingIsAskedForByItsJournalAndWritten) {
  SetListing({Entry(u"f", false, 5'000'000'000), Entry(u"", false, 1), Entry(u"d", true, 0)});
  EXPECT_TRUE(cache().CacheFolderContents(u"/Docs"));
  EXPECT_EQ(Ordinals(), Calls{511});
  EXPECT_EQ(recorder_.calls[0].journals.at(u"Source.txt"),
            std::string("/\0D\0o\0c\0s\0/\0\r\0\n\0", 16));
  EXPECT_EQ(ListingText(u"/Docs"),
            u".?1?0?0?100?200\r\n..?1?0?0?100?200\r\nf?0?5000000000?0?100?200\r\n"
            u"d?1?0?0?100?200\r\n");
  EXPECT_EQ(recorder_.releases, 1);
  EXPECT_EQ(account_.server().request_count(), 0U);
}

TEST_F(SyncTest, AnArrayThatIsHandedOutIsNotReleased) {
  SetListing({Entry(u"f", false, 1)});
  DirectoryEntry* entries = nullptr;
  EXPECT_TRUE(cache().CacheFolderContents(u"/Docs/", &entries));
  EXPECT_EQ(entries, recorder_.listing.data());
  EXPECT_EQ(recorder_.releases, 0);
}

TEST_F(SyncTest, EachWalkFetchesAnewAndComparesNoTimes) {
  SetListing({Entry(u"f", false, 1)});
  EXPECT_EQ(Walk(u"/Docs/"), List{u"f"});
  SetListing({Entry(u"g", false, 1)});
  EXPECT_EQ(Walk(u"/Docs/"), List{u"g"});
  EXPECT_EQ(Ordinals(), (Calls{511, 511}));
  EXPECT_EQ(account_.server().request_count(), 0U);
  EXPECT_FALSE(HasTime(u"/Docs/"));
}

// The first element's mark does not end the array.
TEST_F(SyncTest, AnArrayWithoutANameGivesAnEmptyListing) {
  WriteListing(u"/Docs", u"f?0?1?0?0?0\r\n");
  recorder_.listing = {Entry(u"", true, 0), Entry(u"", false, 1)};
  for (DirectoryEntry& entry : recorder_.listing) entry.last_entry = 1;
  EXPECT_TRUE(cache().CacheFolderContents(u"/Docs"));
  EXPECT_EQ(ReadFileBytes(Names().GetDirRecordName(u"/Docs")), "");
  EXPECT_EQ(Walk(u"/Docs/"), List());
}

TEST_F(SyncTest, AFailedListingEmptiesTheListingFile) {
  WriteListing(u"/Docs", u"f?0?1?0?0?0\r\n");
  SetListing({Entry(u"f", false, 1)});
  recorder_.result = 0;
  EXPECT_FALSE(cache().CacheFolderContents(u"/Docs"));
  EXPECT_EQ(ReadFileBytes(Names().GetDirRecordName(u"/Docs")), "");
  EXPECT_EQ(Walk(u"/Docs/"), List{});
}

TEST_F(SyncTest, AListingWithoutAnArrayCountsAsFailed) {
  recorder_.listing.clear();
  EXPECT_FALSE(cache().CacheFolderContents(u"/Docs"));
  EXPECT_EQ(ReadFileBytes(Names().GetDirRecordName(u"/Docs")), "");
}

TEST_F(SyncTest, OneFolderIsNeverListed) {
  SetListing({Entry(u"f", false, 1)});
  EXPECT_FALSE(cache().CacheFolderContents(u"/Cirrux Portable NEW"));
  EXPECT_FALSE(cache().CacheFolderContents(u"/Cirrux Portable NEW/"));
  EXPECT_TRUE(recorder_.calls.empty());
  EXPECT_FALSE(FileExists(Journal(u"Source.txt")));
}

TEST_F(SyncTest, AJournalThatCannotBeMadeStopsTheListing) {
  BlockJournal(u"Source.txt");
  EXPECT_FALSE(cache().CacheFolderContents(u"/Docs"));
  EXPECT_TRUE(recorder_.calls.empty());
  EXPECT_TRUE(JournalTold(u"Source.txt"));
}

TEST_F(SyncTest, AListingFileThatCannotBeWrittenIsToldWithAPeriod) {
  const Text file = Names().GetDirRecordName(u"/Docs");
  MakeFolders(file);
  SetListing({Entry(u"f", false, 1)});
  EXPECT_FALSE(cache().CacheFolderContents(u"/Docs"));
  EXPECT_TRUE(Logged(u"Unable to open file " + file + u" for writing cache details. Reason: "));
}

TEST_F(SyncTest, AnOrdinaryAccountReleasesTooAfterAListing) {
  home_.SetSetting(kConnectionSubKey, u"Account_Type", u"");
  EXPECT_TRUE(cache().CacheFolderContents(u"/"));
  EXPECT_EQ(recorder_.releases, 1);
  EXPECT_TRUE(recorder_.calls.empty());
}

TEST_F(SyncTest, UsedSpaceComesFromTheQuotaFileAndIsPublished) {
  WriteFileBytes(u"C:\\Stratel Drive\\ZVCOMMON\\quota.ini",
                 "[ZVSYNC]\r\nZVSyncUsedQuota=5242880\r\n");
  int64_t quota = -1;
  int64_t used = -1;
  EXPECT_TRUE(cache().GetUsedSpaceDetails(&quota, &used));
  EXPECT_EQ(used, 5'242'880);
  EXPECT_EQ(UsedSpaceMib(), 5U);
}

// The library leaves the file under its own name in the folder that the journal names.
class SyncDownload : public SyncTest {
 protected:
  SyncDownload() {
    recorder_.effect = [this] { WriteFileBytes(Folder() + u"a.txt", "from the library"); };
  }
};

TEST_F(SyncDownload, TwoJournalsNameTheFolderAndTheFile) {
  EXPECT_TRUE(cache().CacheRestoreFile(u"\\Docs\\a.txt"));
  EXPECT_EQ(Ordinals(), Calls{713});
  EXPECT_EQ(JournalSeen(u"Download_dst.txt"), Folder() + u"\r\n");
  EXPECT_EQ(JournalSeen(u"Download_src.txt"), u"F_/Docs/a.txt\r\n");
  EXPECT_EQ(Content(u"/Docs/a.txt"), "from the library");
}

TEST_F(SyncDownload, EveryReadOfAnUncachedFileGoesThroughIt) {
  EXPECT_EQ(Read(u"/Docs/a.txt", 0, 4).bytes, "from");
  EXPECT_EQ(Ordinals(), Calls{713});
  EXPECT_EQ(Read(u"/Docs/a.txt", 5, 3).bytes, "the");
  EXPECT_EQ(Ordinals(), Calls{713});
}

TEST_F(SyncDownload, LeavesNoSecondCopy) {
  EXPECT_TRUE(cache().CacheRestoreFile(u"/Docs/a.txt"));
  EXPECT_FALSE(FileExists(Folder() + u"a.txt"));
}

TEST_F(SyncDownload, OfAFileThatIsNamedLikeOneOfTheCacheIsRefused) {
  WriteListing(u"/Docs", u"a?0?1?0?0?0\r\n");
  EXPECT_FALSE(cache().CacheRestoreFile(u"/Docs/Dir#ZV#Docs"));
  EXPECT_TRUE(recorder_.calls.empty());
  EXPECT_TRUE(
      Logged(u"Unable to hand over /Docs/Dir#ZV#Docs. Reason: Its name is one of the "
             u"cache's own."));
}

TEST_F(SyncDownload, ThatFailsLeavesNoContent) {
  recorder_.result = 0;
  EXPECT_FALSE(Read(u"/Docs/a.txt", 0, 4).done);
  EXPECT_EQ(Content(u"/Docs/a.txt"), std::nullopt);
}

TEST_F(SyncDownload, ThatBringsNoFileFailsTheRead) {
  recorder_.effect = {};
  EXPECT_FALSE(Read(u"/Docs/a.txt", 0, 4).done);
  EXPECT_TRUE(LoggedAsError(u"Unable to open file " + Names().GetFileRecordName(u"/Docs/a.txt") +
                            u" for reading restore file cache data, Reason: "));
}

TEST_F(SyncDownload, ThatBringsNoTemporaryFileReadsAsSuccessWithoutBytes) {
  recorder_.effect = {};
  const ReadResult result = Read(u"/Docs/a.tmp", 0, 4);
  EXPECT_EQ(Ordinals(), Calls{713});
  EXPECT_TRUE(result.done);
  EXPECT_EQ(result.bytes, std::string(4, '\0'));
}

TEST_F(SyncDownload, TheFoldersJournalThatCannotBeMadeStopsIt) {
  BlockJournal(u"Download_dst.txt");
  EXPECT_FALSE(cache().CacheRestoreFile(u"/Docs/a.txt"));
  EXPECT_TRUE(JournalToldAsError(u"Download_dst.txt"));
  EXPECT_FALSE(FileExists(Journal(u"Download_src.txt")));
}

TEST_F(SyncDownload, TheFilesJournalThatCannotBeMadeStopsIt) {
  BlockJournal(u"Download_src.txt");
  EXPECT_FALSE(cache().CacheRestoreFile(u"/Docs/a.txt"));
  EXPECT_TRUE(JournalToldAsError(u"Download_src.txt"));
  EXPECT_TRUE(recorder_.calls.empty());
}

// A library that is missing, or older than the worker.
class NoLibrary : public SyncTest {
 protected:
  NoLibrary() {
    static constexpr UtilityLibrary kOld = {};
    SetUtilityLibrary(&kOld);
  }
  bool Told(uint16_t ordinal) const {
    return Logged(u"Unable to call entry point " + FromUtf8(std::to_string(ordinal)) +
                  u" of the utility library ZVUtil. Reason: ");
  }
};

TEST_F(NoLibrary, EveryRequestFailsWithALineInTheLog) {
  EXPECT_FALSE(cache().CacheFolderContents(u"/Docs"));
  EXPECT_TRUE(Told(511));
  EXPECT_TRUE(Logged(u" of the utility library ZVUtil. Reason: It has no such entry point."));
  EXPECT_FALSE(Read(u"/Docs/a", 0, 1).done);
  EXPECT_TRUE(Told(713));
  Store(u"/Docs/b", "1");
  EXPECT_FALSE(cache().TransferCachedFile(u"/Docs/b", true));
  EXPECT_TRUE(Told(712));
  ASSERT_EQ(cache().pending().List().size(), 1U);
  EXPECT_EQ(cache().pending().List()[0].reason, u"The utility library did not take the file.");
  EXPECT_EQ(cache().RenameCachedResource(u"/Docs/c", u"/Docs/d", true), kRenameFailed);
  EXPECT_TRUE(Told(716));
  EXPECT_FALSE(cache().DeleteCachedResource(u"/Docs/c", true));
  EXPECT_TRUE(Told(715));
  EXPECT_TRUE(cache().CreateCacheDirectory(u"/Docs/e"));
  EXPECT_TRUE(Told(734));
}

TEST_F(NoLibrary, AnOrdinaryAccountRunsWithoutIt) {
  home_.SetSetting(kConnectionSubKey, u"Account_Type", u"");
  EXPECT_TRUE(cache().CacheFolderContents(u"/"));
  EXPECT_FALSE(Logged(u"ZVUtil"));
}

TEST_F(NoLibrary, ALibraryThatIsNotThereIsToldInTheSystemsWords) {
  SetUtilityLibrary(nullptr);
  Text failure;
  const UtilityLibrary library = GetUtilityLibrary(true, &failure);
  if (library.list) return;  // it is installed on this machine
  EXPECT_NE(failure, u"");
  EXPECT_FALSE(cache().CacheFolderContents(u"/Docs"));
  EXPECT_TRUE(Told(511));
}

}  // namespace
}  // namespace zv::testing
