// Sync accounts: journals, entry points and what the cache makes of them.
#include <gtest/gtest.h>

#include <map>

#include "cache/sync_account.h"
#include "platform/clock_testing.h"
#include "tests/cache/cache_fixture.h"
#include "worker/progress.h"

namespace zv::testing {
namespace {

constexpr TextView kSyncFolder = u"C:\\Stratel Drive";

// A stand-in for the utility library that writes down its calls, with the journals as they stood
// then.
struct Recorder {
  struct Call {
    uint16_t ordinal = 0;
    std::vector<Text> arguments;
    std::map<Text, std::string> journals;
  };

  std::vector<Call> calls;
  int releases = 0;
  int32_t result = 1;
  std::vector<DirectoryEntry> listing;
  std::function<void()> effect;
};

Recorder* recorder = nullptr;

void Record(uint16_t ordinal, std::vector<Text> arguments) {
  Recorder::Call call{.ordinal = ordinal, .arguments = std::move(arguments), .journals = {}};
  for (const FileInfo& info : ListFolder(kSyncFolder)) {
    if (info.name.ends_with(u".txt")) {
      call.journals[info.name] = *ReadFileBytes(Text(kSyncFolder) + u"\\" + info.name);
    }
  }
  recorder->calls.push_back(std::move(call));
  if (recorder->effect) recorder->effect();
}

template <uint16_t ordinal>
int32_t Answer(const char16_t* separator, const char16_t* user, const char16_t* password,
               const char16_t* key, const char16_t* app_server, const char16_t* web_server,
               const char16_t* key_type) {
  Record(ordinal, {separator, user, password, key, app_server, web_server, key_type});
  return recorder->result;
}

int32_t AnswerList(const char16_t* separator, const char16_t* user, const char16_t* password,
                   const char16_t* key, const char16_t* app_server, const char16_t* web_server,
                   const char16_t* key_type, void** entries) {
  Record(511, {separator, user, password, key, app_server, web_server, key_type});
  *entries = recorder->listing.empty() ? nullptr : recorder->listing.data();
  return recorder->result;
}

void AnswerRelease() { ++recorder->releases; }

constexpr UtilityLibrary kStandIn = {.list = AnswerList,
                                     .release = AnswerRelease,
                                     .download = Answer<713>,
                                     .upload = Answer<712>,
                                     .create_folder = Answer<734>,
                                     .rename = Answer<716>,
                                     .remove = Answer<715>};

DirectoryEntry Entry(TextView name, bool folder, int64_t size) {
  DirectoryEntry entry;
  entry.SetName(name);
  entry.directory_flag = folder ? 1 : 0;
  entry.size = size;
  entry.creation_time = 100;
  entry.SetModified(200);
  return entry;
}

class SyncTest : public CacheTest {
 protected:
  SyncTest() : CacheTest({.account_type = u"ZVSYNC"}) {
    for (const auto& [name, value] :
         std::initializer_list<std::pair<TextView, Text>>{{u"ZVSync_usr", u"syncuser"},
                                                          {u"ZVSync_psd", RaiseBy20(u"pass:more")},
                                                          {u"u_ZVSync_enc", RaiseBy20(u"DEFAULT")},
                                                          {u"Appserver", u"app.example"},
                                                          {u"WebServer", u"web.example"}}) {
      home_.SetSetting(kConnectionSubKey, name, value);
    }
    recorder = &recorder_;
    SetUtilityLibrary(&kStandIn);
  }
  ~SyncTest() override {
    SetUtilityLibrary(nullptr);
    recorder = nullptr;
  }

  static Text Journal(TextView name) { return Text(kSyncFolder) + u"\\" + Text(name); }
  // The journal as the library saw it in its last call.
  Text JournalSeen(TextView name) const {
    const auto& journals = recorder_.calls.back().journals;
    const auto found = journals.find(Text(name));
    return found == journals.end() ? u"(none)" : FromUtf16LeBytes(found->second);
  }
  std::vector<uint16_t> Ordinals() const {
    std::vector<uint16_t> ordinals;
    for (const auto& call : recorder_.calls) ordinals.push_back(call.ordinal);
    return ordinals;
  }
  void SetListing(std::vector<DirectoryEntry> entries) {
    recorder_.listing = {Entry(u".", true, 0), Entry(u"..", true, 0)};
    recorder_.listing.front().last_entry = 1;
    for (DirectoryEntry& entry : entries) recorder_.listing.push_back(entry);
    recorder_.listing.back().last_entry = 1;
  }
  void BlockJournal(TextView name) { MakeFolders(Journal(name)); }
  bool JournalTold(TextView name) const {
    return Logged(u"Unable to create/open file " + Journal(name) + u". Reason: ");
  }

  Recorder recorder_;
};

using List = std::vector<Text>;
using Calls = std::vector<uint16_t>;

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

TEST_F(SyncDownload, ThatFailsLeavesNoContent) {
  recorder_.result = 0;
  EXPECT_FALSE(Read(u"/Docs/a.txt", 0, 4).done);
  EXPECT_EQ(Content(u"/Docs/a.txt"), std::nullopt);
}

TEST_F(SyncDownload, ThatBringsNoFileFailsTheRead) {
  recorder_.effect = {};
  EXPECT_FALSE(Read(u"/Docs/a.txt", 0, 4).done);
  EXPECT_TRUE(Logged(u"Unable to open file " + Names().GetFileRecordName(u"/Docs/a.txt") +
                     u" for reading restore file cache data, Reason: "));
}

TEST_F(SyncDownload, TheFoldersJournalThatCannotBeMadeStopsIt) {
  BlockJournal(u"Download_dst.txt");
  EXPECT_FALSE(cache().CacheRestoreFile(u"/Docs/a.txt"));
  EXPECT_TRUE(JournalTold(u"Download_dst.txt"));
  EXPECT_FALSE(FileExists(Journal(u"Download_src.txt")));
}

TEST_F(SyncDownload, TheFilesJournalThatCannotBeMadeStopsIt) {
  BlockJournal(u"Download_src.txt");
  EXPECT_FALSE(cache().CacheRestoreFile(u"/Docs/a.txt"));
  EXPECT_TRUE(JournalTold(u"Download_src.txt"));
  EXPECT_TRUE(recorder_.calls.empty());
}

class SyncChanges : public SyncTest {};

TEST_F(SyncChanges, AFolderIsMadeByItsJournalWhateverTheLibraryAnswers) {
  recorder_.result = 0;
  EXPECT_TRUE(cache().CreateCacheDirectory(u"\\Docs\\new"));
  EXPECT_EQ(Ordinals(), Calls{734});
  EXPECT_EQ(JournalSeen(u"createdir_dst.txt"), u"/Docs/new/\r\n");
  EXPECT_TRUE(ListingText(u"/Docs").starts_with(u"new?1?0?0?"));
}

TEST_F(SyncChanges, AFolderWhoseJournalCannotBeMadeIsNotListed) {
  BlockJournal(u"createdir_dst.txt");
  EXPECT_FALSE(cache().CreateCacheDirectory(u"/Docs/new"));
  EXPECT_TRUE(JournalTold(u"createdir_dst.txt"));
  EXPECT_FALSE(HasListing(u"/Docs"));
}

TEST_F(SyncChanges, ARenameIsToldInTwoJournals) {
  WriteListing(u"/Docs", u"a?0?1?0?0?0\r\n");
  EXPECT_EQ(cache().RenameCachedResource(u"/Docs/a", u"/Docs/b", true), kRenameDone);
  EXPECT_EQ(Ordinals(), Calls{716});
  EXPECT_EQ(JournalSeen(u"Rename_src.txt"), u"/Docs/a\r\n");
  EXPECT_EQ(JournalSeen(u"Rename_dst.txt"), u"/Docs/b\r\n");
  EXPECT_EQ(ListingText(u"/Docs"), u"b?0?1?0?0?0\r\n");
}

TEST_F(SyncChanges, ARenameThatTheLibraryRefusesStillHappensInTheCache) {
  recorder_.result = 0;
  WriteListing(u"/Docs", u"a?0?1?0?0?0\r\n");
  EXPECT_EQ(cache().RenameCachedResource(u"/Docs/a", u"/Docs/b", true), kRenameFailed);
  EXPECT_EQ(ListingText(u"/Docs"), u"b?0?1?0?0?0\r\n");
}

TEST_F(SyncChanges, ARenameThatIsNotToldHappensInTheCacheAlone) {
  WriteListing(u"/Docs", u"a?0?1?0?0?0\r\n");
  EXPECT_EQ(cache().RenameCachedResource(u"/Docs/a", u"/Docs/b", false), kRenameDone);
  EXPECT_TRUE(recorder_.calls.empty());
  EXPECT_EQ(ListingText(u"/Docs"), u"b?0?1?0?0?0\r\n");
}

TEST_F(SyncChanges, ARenameWhoseJournalCannotBeMadeChangesNothing) {
  WriteListing(u"/Docs", u"a?0?1?0?0?0\r\n");
  BlockJournal(u"Rename_dst.txt");
  EXPECT_EQ(cache().RenameCachedResource(u"/Docs/a", u"/Docs/b", true), kRenameFailed);
  EXPECT_TRUE(JournalTold(u"Rename_dst.txt"));
  EXPECT_TRUE(recorder_.calls.empty());
  EXPECT_EQ(ListingText(u"/Docs"), u"a?0?1?0?0?0\r\n");
}

TEST_F(SyncChanges, ATemporaryFileThatBecomesTheRealOneIsStaged) {
  WriteContent(u"/Docs/~doc123.tmp", "saved");
  WriteContent(u"/Docs/report.doc", "older");
  EXPECT_EQ(cache().RenameCachedResource(u"/Docs/~doc123.tmp", u"/Docs/report.doc", false),
            kRenameDone);
  EXPECT_EQ(Content(u"/Docs/report.doc"), "saved");
  EXPECT_EQ(Content(u"/Docs/~doc123.tmp"), std::nullopt);
  EXPECT_EQ(ReadFileBytes(u"C:\\Stratel Drive\\cache@u\\report.doc"), "saved");
  EXPECT_TRUE(home_.LogHasLine(
      u"CacheDebug.txt", u"Moving file " + Names().GetFileRecordName(u"/Docs/~doc123.tmp") +
                             u" to " + Names().GetFileRecordName(u"/Docs/report.doc") + u"."));
  EXPECT_TRUE(home_.LogHasLine(u"CacheDebug.txt",
                               u"C:\\Stratel Drive\\cache@u/Docs/~doc123.tmp file not found."));
}

TEST_F(SyncChanges, ATemporaryFileWithoutContentIsToldAndTheRenameGoesOn) {
  const Text source = Names().GetFileRecordName(u"/Docs/a.tmp");
  const Text target = Names().GetFileRecordName(u"/Docs/b.doc");
  EXPECT_EQ(cache().RenameCachedResource(u"/Docs/a.tmp", u"/Docs/b.doc", false), kRenameDone);
  EXPECT_TRUE(home_.LogHasLine(u"CacheDebug.txt", source + u" file not found."));
  EXPECT_TRUE(Logged(u"Error moving file " + source + u" to " + target + u". ErrorCode: "));
  EXPECT_TRUE(Logged(u"Error copying file " + target +
                     u" to C:\\Stratel Drive\\cache@u/b.doc. ErrorCode: "));
}

TEST_F(SyncChanges, AnyOtherRenameStagesNothing) {
  WriteContent(u"/Docs/report.doc", "1");
  cache().RenameCachedResource(u"/Docs/report.doc", u"/Docs/report.bak", false);
  EXPECT_EQ(Content(u"/Docs/report.bak"), "1");
  EXPECT_FALSE(FileExists(u"C:\\Stratel Drive\\cache@u\\report.bak"));
}

TEST_F(SyncChanges, ADeletedFolderIsJournalledByItsTrailingSlash) {
  WriteListing(u"/a", u"b?1?0?0?0?0\r\n");
  EXPECT_TRUE(cache().DeleteCachedResource(u"/a/b/", true));
  EXPECT_EQ(Ordinals(), Calls{715});
  EXPECT_EQ(JournalSeen(u"Delete_src.txt"), u"D_/a/b\r\n");
  EXPECT_EQ(ListingText(u"/a"), u"");
}

TEST_F(SyncChanges, ADeletedFileLosesItsStagedCopyToo) {
  WriteListing(u"/a", u"c.txt?0?1?0?0?0\r\n");
  WriteContent(u"/a/c.txt", "1");
  WriteFileBytes(u"C:\\Stratel Drive\\cache@u\\c.txt", "staged");
  EXPECT_TRUE(cache().DeleteCachedResource(u"\\a\\c.txt", true));
  EXPECT_EQ(JournalSeen(u"Delete_src.txt"), u"F_/a/c.txt\r\n");
  EXPECT_EQ(Content(u"/a/c.txt"), std::nullopt);
  EXPECT_EQ(ListingText(u"/a"), u"");
  EXPECT_FALSE(FileExists(u"C:\\Stratel Drive\\cache@u\\c.txt"));
}

TEST_F(SyncChanges, ADeletionThatIsNotSentCleansTheCacheAlone) {
  WriteListing(u"/a", u"c.txt?0?1?0?0?0\r\n");
  WriteContent(u"/a/c.txt", "1");
  EXPECT_TRUE(cache().DeleteCachedResource(u"/a/c.txt", false));
  EXPECT_TRUE(recorder_.calls.empty());
  EXPECT_FALSE(FileExists(Journal(u"Delete_src.txt")));
  EXPECT_EQ(Content(u"/a/c.txt"), std::nullopt);
  EXPECT_EQ(ListingText(u"/a"), u"");
}

TEST_F(SyncChanges, ADeletionThatTheLibraryRefusesChangesNothing) {
  recorder_.result = 0;
  WriteListing(u"/a", u"c.txt?0?1?0?0?0\r\n");
  EXPECT_FALSE(cache().DeleteCachedResource(u"/a/c.txt", true));
  EXPECT_EQ(ListingText(u"/a"), u"c.txt?0?1?0?0?0\r\n");
}

TEST_F(SyncChanges, ADeletionWhoseJournalCannotBeMadeChangesNothing) {
  BlockJournal(u"Delete_src.txt");
  WriteListing(u"/a", u"c.txt?0?1?0?0?0\r\n");
  EXPECT_FALSE(cache().DeleteCachedResource(u"/a/c.txt", true));
  EXPECT_TRUE(JournalTold(u"Delete_src.txt"));
  EXPECT_EQ(ListingText(u"/a"), u"c.txt?0?1?0?0?0\r\n");
}

class SyncWriteBack : public SyncTest {
 protected:
  static constexpr TextView kStaged = u"C:\\Stratel Drive\\cache@u\\a.txt";
};

TEST_F(SyncWriteBack, AFileIsStagedAndHandedOverByTwoJournals) {
  Store(u"/Docs/a.txt", "contents");
  EXPECT_TRUE(cache().TransferCachedFile(u"\\Docs\\a.txt", true));
  EXPECT_EQ(Ordinals(), Calls{712});
  EXPECT_EQ(JournalSeen(u"Upload_dst.txt"), u"/Docs/\r\n");
  EXPECT_EQ(JournalSeen(u"Upload_src.txt"), u"F_" + Text(kStaged) + u"\r\n");
  EXPECT_EQ(ReadFileBytes(kStaged), "contents");
  EXPECT_TRUE(ListingText(u"/Docs").starts_with(u"a.txt?0?8?0?"));
  EXPECT_TRUE(PendingPaths().empty());
}

TEST_F(SyncWriteBack, AFileInTheRootGoesToTheRootFolder) {
  Store(u"/a.txt", "contents");
  EXPECT_TRUE(cache().TransferCachedFile(u"\\a.txt", true));
  EXPECT_EQ(JournalSeen(u"Upload_dst.txt"), u"/\r\n");
}

TEST_F(SyncWriteBack, AFileThatTheLibraryRefusesIsPendingAndNotListed) {
  recorder_.result = 0;
  Store(u"/Docs/a.txt", "contents");
  EXPECT_FALSE(cache().TransferCachedFile(u"/Docs/a.txt", true));
  EXPECT_FALSE(HasListing(u"/Docs"));
  EXPECT_EQ(PendingPaths(), List{u"/Docs/a.txt"});
  SetListing({});
  recorder_.result = 1;
  EXPECT_EQ(Walk(u"/Docs/"), List{u"a.txt"});
}

TEST_F(SyncWriteBack, AFileThatIsNotSentIsListedAndKeptHere) {
  Store(u"/Docs/a.tmp", "contents");
  EXPECT_TRUE(cache().TransferCachedFile(u"/Docs/a.tmp", false));
  EXPECT_TRUE(recorder_.calls.empty());
  EXPECT_FALSE(FileExists(Journal(u"Upload_src.txt")));
  EXPECT_FALSE(FileExists(u"C:\\Stratel Drive\\cache@u\\a.tmp"));
  EXPECT_TRUE(ListingText(u"/Docs").starts_with(u"a.tmp?0?8?0?"));
  ASSERT_EQ(cache().pending().List().size(), 1U);
  EXPECT_EQ(cache().pending().List()[0].kind, PendingKind::kCacheOnly);
  SetListing({});
  EXPECT_EQ(Walk(u"/Docs/"), List{u"a.tmp"});
}

TEST_F(SyncWriteBack, AFileThatIsKeptHereAloneCanBeDeletedThoughTheLibraryKnowsNothingOfIt) {
  Store(u"/Docs/a.tmp", "contents");
  cache().TransferCachedFile(u"/Docs/a.tmp", false);
  recorder_.result = 0;
  EXPECT_TRUE(cache().DeleteCachedResource(u"/Docs/a.tmp", true));
  EXPECT_TRUE(PendingPaths().empty());
  EXPECT_EQ(ListingText(u"/Docs"), u"");
}

TEST_F(SyncWriteBack, TheFoldersJournalThatCannotBeMadeStopsIt) {
  BlockJournal(u"Upload_dst.txt");
  Store(u"/Docs/a.txt", "contents");
  EXPECT_FALSE(cache().TransferCachedFile(u"/Docs/a.txt", true));
  EXPECT_TRUE(JournalTold(u"Upload_dst.txt"));
  EXPECT_TRUE(recorder_.calls.empty());
  EXPECT_FALSE(FileExists(kStaged));
}

TEST_F(SyncWriteBack, TheFilesJournalThatCannotBeMadeStopsIt) {
  BlockJournal(u"Upload_src.txt");
  Store(u"/Docs/a.txt", "contents");
  EXPECT_FALSE(cache().TransferCachedFile(u"/Docs/a.txt", true));
  EXPECT_TRUE(JournalTold(u"Upload_src.txt"));
  EXPECT_TRUE(recorder_.calls.empty());
  EXPECT_EQ(PendingPaths(), List{u"/Docs/a.txt"});
}

TEST_F(SyncWriteBack, AnEmptyFileIsStagedEmptyAndCountsAsSent) {
  recorder_.result = 0;
  TransferRequest request{.path = u"/Docs/a.txt"};
  EXPECT_TRUE(cache().BackupZeroFile(request, true));
  EXPECT_EQ(Ordinals(), Calls{712});
  EXPECT_EQ(JournalSeen(u"Upload_dst.txt"), u"/Docs/\r\n");
  EXPECT_EQ(JournalSeen(u"Upload_src.txt"), u"F_" + Text(kStaged) + u"\r\n");
  EXPECT_EQ(ReadFileBytes(kStaged), "");
  EXPECT_TRUE(ListingText(u"/Docs").starts_with(u"a.txt?0?0?0?"));
  EXPECT_EQ(PendingPaths(), List{u"/Docs/a.txt"});
}

TEST_F(SyncWriteBack, AnEmptyFileThatCannotBeStagedFails) {
  MakeFolders(kStaged);
  TransferRequest request{.path = u"/Docs/a.txt"};
  EXPECT_FALSE(cache().BackupZeroFile(request, true));
  EXPECT_TRUE(Logged(u"Unable to create/open file " + Text(kStaged) + u". Reason: "));
  EXPECT_TRUE(recorder_.calls.empty());
}

TEST_F(SyncWriteBack, AnEmptyFileThatIsNotSentIsListed) {
  TransferRequest request{.path = u"/Docs/a.txt"};
  EXPECT_TRUE(cache().BackupZeroFile(request, false));
  EXPECT_TRUE(recorder_.calls.empty());
  EXPECT_TRUE(ListingText(u"/Docs").starts_with(u"a.txt?0?0?0?"));
}

class PendingDeletes : public SyncTest {
 protected:
  void WriteJournalText(TextView text) {
    WriteFileBytes(Journal(u"Delete_src.txt"), ToUtf16LeBytes(text));
  }
};

TEST_F(PendingDeletes, WithoutAJournalAreNone) { EXPECT_EQ(cache().ApplyPendingDeletes(), 0U); }

TEST_F(PendingDeletes, DropContentTimeAndRecordAndTheJournal) {
  WriteListing(u"/a", u"b.txt?0?1?0?0?0\r\nz?0?0?0?0?0\r\n");
  WriteContent(u"/a/b.txt", "1");
  WriteTime(u"/a/b.txt", kEarly);
  // No backslash stands between the folder's name and the file's.
  WriteFileBytes(u"C:\\Stratel Drive\\cache@ub.txt", "staged");
  WriteJournalText(u"F_/a/b.txt\r\n");
  EXPECT_EQ(cache().ApplyPendingDeletes(), 1U);
  EXPECT_EQ(Content(u"/a/b.txt"), std::nullopt);
  EXPECT_FALSE(HasTime(u"/a/b.txt"));
  EXPECT_EQ(ListingText(u"/a"), u"z?0?0?0?0?0\r\n");
  EXPECT_FALSE(FileExists(u"C:\\Stratel Drive\\cache@ub.txt"));
  EXPECT_FALSE(FileExists(Journal(u"Delete_src.txt")));
}

TEST_F(PendingDeletes, OfAFolderDropItsSubtree) {
  WriteListing(u"/a", u"b?1?0?0?0?0\r\n");
  WriteListing(u"/a/b", u"c?0?0?0?0?0\r\n");
  WriteContent(u"/a/b/c", "1");
  WriteJournalText(u"D_/a/b\r\n");
  EXPECT_EQ(cache().ApplyPendingDeletes(), 1U);
  EXPECT_FALSE(HasListing(u"/a/b"));
  EXPECT_EQ(Content(u"/a/b/c"), std::nullopt);
  EXPECT_EQ(ListingText(u"/a"), u"");
}

TEST_F(PendingDeletes, OfSeveralLinesAllHappen) {
  WriteListing(u"/a", u"b?0?1?0?0?0\r\nc?0?1?0?0?0\r\n");
  WriteJournalText(u"F_/a/b\r\nno path\r\nF_/a/c\r\n");
  EXPECT_EQ(cache().ApplyPendingDeletes(), 1U);
  EXPECT_EQ(ListingText(u"/a"), u"");
}

TEST_F(PendingDeletes, CharactersOutsideTheSystemsCodePageAreLost) {
  WriteListing(u"/a", u"\u4E2D?0?1?0?0?0\r\n");
  WriteJournalText(u"F_/a/\u4E2D\r\n");
  EXPECT_EQ(cache().ApplyPendingDeletes(), 1U);
  EXPECT_EQ(ListingText(u"/a"), u"\u4E2D?0?1?0?0?0\r\n");
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
  EXPECT_FALSE(Read(u"/Docs/a", 0, 1).done);
  EXPECT_TRUE(Told(713));
  Store(u"/Docs/b", "1");
  EXPECT_FALSE(cache().TransferCachedFile(u"/Docs/b", true));
  EXPECT_TRUE(Told(712));
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
