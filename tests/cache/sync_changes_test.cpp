// Sync accounts: what is changed and written, and pending deletes.
#include "tests/cache/sync_fixture.h"

namespace zv::testing {
namespace {

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

// Its library never had the temporary file.
TEST_F(SyncChanges, ATemporaryFileThatWasKeptHereIsStagedThoughItsRenameIsRefused) {
  recorder_.result = 0;
  WriteListing(u"/Docs", u"");
  WriteContent(u"/Docs/~doc123.tmp", "saved");
  ASSERT_TRUE(cache().TransferCachedFile(u"/Docs/~doc123.tmp", false));
  EXPECT_EQ(cache().RenameCachedResource(u"/Docs/~doc123.tmp", u"/Docs/report.doc", true),
            kRenameFailed);
  EXPECT_TRUE(ListingText(u"/Docs").starts_with(u"report.doc?0?5?"))
      << ToUtf8(ListingText(u"/Docs"));
  EXPECT_EQ(Content(u"/Docs/report.doc"), "saved");
  EXPECT_EQ(Content(u"/Docs/~doc123.tmp"), std::nullopt);
  EXPECT_EQ(ReadFileBytes(u"C:\\Stratel Drive\\cache@u\\report.doc"), "saved");
  EXPECT_EQ(PendingPaths(), List{u"/Docs/report.doc"});
}

TEST_F(SyncChanges, AFolderWhoseRenameIsRefusedTakesItsContentsAlong) {
  recorder_.result = 0;
  WriteListing(u"/Docs", u"a?1?0?1?0?0\r\n");
  WriteListing(u"/Docs/a", u"f?0?5?0?0?0\r\n");
  WriteTime(u"/Docs/a/", kEarly);
  WriteContent(u"/Docs/a/f", "inner");
  WriteTime(u"/Docs/a/f", kLate);
  EXPECT_EQ(cache().RenameCachedResource(u"/Docs/a", u"/Docs/b", true), kRenameFailed);
  EXPECT_EQ(ListingText(u"/Docs/b"), u"f?0?5?0?0?0\r\n");
  EXPECT_EQ(TimeOf(u"/Docs/b/"), kEarly);
  EXPECT_EQ(Content(u"/Docs/b/f"), "inner");
  EXPECT_EQ(TimeOf(u"/Docs/b/f"), kLate);
  EXPECT_EQ(Content(u"/Docs/a/f"), std::nullopt);
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

TEST_F(SyncChanges, ADeletedFolderLeavesTheStagedCopyOfAFileOfItsName) {
  WriteListing(u"/a", u"b?1?0?0?0?0\r\n");
  WriteFileBytes(u"C:\\Stratel Drive\\cache@u\\b", "another folder's");
  EXPECT_TRUE(cache().DeleteCachedResource(u"/a/b/", true));
  EXPECT_TRUE(FileExists(u"C:\\Stratel Drive\\cache@u\\b"));
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
  EXPECT_TRUE(JournalToldAsError(u"Delete_src.txt"));
  EXPECT_EQ(ListingText(u"/a"), u"c.txt?0?1?0?0?0\r\n");
}

TEST_F(SyncChanges, TheRootIsNeverDeleted) {
  WriteListing(u"/", u"a.tmp?0?1?0?0?0\r\n");
  WriteContent(u"/a.tmp", "1");
  cache().pending().Add(u"/a.tmp", PendingKind::kCacheOnly, u"");
  for (const TextView root : {u"/", u"", u"\\"}) {
    for (const bool send : {true, false}) EXPECT_FALSE(cache().DeleteCachedResource(root, send));
  }
  EXPECT_TRUE(recorder_.calls.empty());
  EXPECT_FALSE(FileExists(Journal(u"Delete_src.txt")));
  EXPECT_EQ(ListingText(u"/"), u"a.tmp?0?1?0?0?0\r\n");
  EXPECT_EQ(Content(u"/a.tmp"), "1");
  EXPECT_EQ(PendingPaths(), List{u"/a.tmp"});
  EXPECT_TRUE(home_.LogHasLine(u"CacheDebug.txt", u"We cannot delete root"));
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
  EXPECT_TRUE(JournalToldAsError(u"Upload_dst.txt"));
  EXPECT_TRUE(recorder_.calls.empty());
  EXPECT_FALSE(FileExists(kStaged));
}

TEST_F(SyncWriteBack, TheFilesJournalThatCannotBeMadeStopsIt) {
  BlockJournal(u"Upload_src.txt");
  Store(u"/Docs/a.txt", "contents");
  EXPECT_FALSE(cache().TransferCachedFile(u"/Docs/a.txt", true));
  EXPECT_TRUE(JournalToldAsError(u"Upload_src.txt"));
  EXPECT_TRUE(recorder_.calls.empty());
  EXPECT_EQ(PendingPaths(), List{u"/Docs/a.txt"});
}

TEST_F(SyncWriteBack, AFileThatCannotBeStagedIsNotHandedOverAndStaysPending) {
  MakeFolders(kStaged);
  Store(u"/Docs/a.txt", "contents");
  EXPECT_FALSE(cache().TransferCachedFile(u"/Docs/a.txt", true));
  EXPECT_TRUE(recorder_.calls.empty());
  EXPECT_TRUE(Logged(u"Error copying file " + Names().GetFileRecordName(u"/Docs/a.txt") + u" to " +
                     Text(kStaged) + u". ErrorCode: "));
  ASSERT_EQ(PendingPaths(), List{u"/Docs/a.txt"});
  EXPECT_NE(cache().pending().List()[0].reason, u"");
  EXPECT_EQ(Content(u"/Docs/a.txt"), "contents");
}

// Copies of files of several folders have one name.
TEST_F(SyncWriteBack, WithoutContentACopyOfAnotherFileIsNotSentInItsPlace) {
  WriteFileBytes(kStaged, "another file");
  bool staged = true;
  recorder_.effect = [&staged] { staged = FileExists(kStaged); };
  EXPECT_FALSE(cache().TransferCachedFile(u"/Docs/a.txt", true));
  EXPECT_EQ(Ordinals(), Calls{712});
  EXPECT_FALSE(staged);
  EXPECT_TRUE(LoggedAsError(u"Unable to find file " + Names().GetFileRecordName(u"/Docs/a.txt") +
                            u", Reason: "));
}

TEST_F(SyncWriteBack, WithoutContentACopyThatCannotGoStopsIt) {
  MakeFolders(kStaged);
  EXPECT_FALSE(cache().TransferCachedFile(u"/Docs/a.txt", true));
  EXPECT_TRUE(recorder_.calls.empty());
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
  EXPECT_TRUE(LoggedAsError(u"Unable to create/open file " + Text(kStaged) + u". Reason: "));
  EXPECT_TRUE(recorder_.calls.empty());
}

// The staging folder may be the cache folder.
TEST_F(SyncWriteBack, AFileThatIsNamedLikeOneOfTheCacheIsNotStaged) {
  Store(u"/Docs/file#zv#a", "contents");
  EXPECT_FALSE(cache().TransferCachedFile(u"/Docs/file#zv#a", true));
  TransferRequest request{.path = u"/Docs/dir#ZV#b"};
  EXPECT_FALSE(cache().BackupZeroFile(request, true));
  EXPECT_TRUE(recorder_.calls.empty());
  EXPECT_FALSE(FileExists(u"C:\\Stratel Drive\\cache@u\\file#zv#a"));
  EXPECT_EQ(PendingPaths(), List{u"/Docs/file#zv#a"});
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

TEST_F(PendingDeletes, OfAFolderMayEndInASlash) {
  WriteListing(u"/a", u"b?1?0?0?0?0\r\nz?0?0?0?0?0\r\n");
  WriteListing(u"/a/b", u"c?0?0?0?0?0\r\n");
  WriteContent(u"/a/b/c", "1");
  WriteFileBytes(u"C:\\Stratel Drive\\cache@ub", "no name follows the slash");
  WriteJournalText(u"D_/a/b/\r\n");
  EXPECT_EQ(cache().ApplyPendingDeletes(), 1U);
  EXPECT_FALSE(HasListing(u"/a/b"));
  EXPECT_EQ(Content(u"/a/b/c"), std::nullopt);
  EXPECT_EQ(ListingText(u"/a"), u"z?0?0?0?0?0\r\n");
  EXPECT_TRUE(FileExists(u"C:\\Stratel Drive\\cache@ub"));
}

TEST_F(PendingDeletes, OfTheRootDoNothing) {
  WriteListing(u"/", u"c?0?1?0?0?0\r\n");
  WriteContent(u"/c", "1");
  cache().pending().Add(u"/p", PendingKind::kContent, u"");
  WriteJournalText(u"D_/\r\n");
  EXPECT_EQ(cache().ApplyPendingDeletes(), 1U);
  EXPECT_EQ(ListingText(u"/"), u"c?0?1?0?0?0\r\n");
  EXPECT_EQ(Content(u"/c"), "1");
  EXPECT_EQ(PendingPaths(), List{u"/p"});
}

// The journal of a deletion stays after it.
TEST_F(PendingDeletes, LeaveAFileThatWasWrittenAnewSinceAndIsKeptHereAlone) {
  Store(u"/a/b.tmp", "first");
  cache().TransferCachedFile(u"/a/b.tmp", false);
  EXPECT_TRUE(cache().DeleteCachedResource(u"/a/b.tmp", true));
  Store(u"/a/b.tmp", "only copy");
  cache().TransferCachedFile(u"/a/b.tmp", false);
  const Text listed = ListingText(u"/a");
  ASSERT_TRUE(listed.starts_with(u"b.tmp?0?9?"));
  ASSERT_TRUE(FileExists(Journal(u"Delete_src.txt")));
  EXPECT_EQ(cache().ApplyPendingDeletes(), 1U);
  EXPECT_EQ(Content(u"/a/b.tmp"), "only copy");
  EXPECT_EQ(ListingText(u"/a"), listed);
  EXPECT_EQ(PendingPaths(), List{u"/a/b.tmp"});
  EXPECT_FALSE(FileExists(Journal(u"Delete_src.txt")));
}

TEST_F(PendingDeletes, OfAFolderLeaveTheFilesInItThatWaitToBeSentAndWhatShowsThem) {
  WriteListing(u"/a", u"b?1?0?0?0?0\r\n");
  WriteListing(u"/a/b", u"c?0?1?0?0?0\r\np?0?9?0?0?0\r\n");
  WriteContent(u"/a/b/c", "1");
  WriteContent(u"/a/b/p", "only copy");
  cache().pending().Add(u"/a/b/p", PendingKind::kContent, u"No line");
  WriteJournalText(u"D_/a/b\r\n");
  EXPECT_EQ(cache().ApplyPendingDeletes(), 1U);
  EXPECT_EQ(Content(u"/a/b/p"), "only copy");
  EXPECT_EQ(PendingPaths(), List{u"/a/b/p"});
  EXPECT_EQ(ListingText(u"/a"), u"b?1?0?0?0?0\r\n");
  EXPECT_EQ(ListingText(u"/a/b"), u"c?0?1?0?0?0\r\np?0?9?0?0?0\r\n");
  EXPECT_EQ(Content(u"/a/b/c"), std::nullopt);
}

TEST_F(PendingDeletes, OfAFolderHappenThoughAFileBesideItWaitsToBeSent) {
  WriteListing(u"/a", u"b?1?0?0?0?0\r\n");
  WriteContent(u"/a/b/c", "1");
  WriteContent(u"/a/bc", "only copy");
  cache().pending().Add(u"/a/bc", PendingKind::kContent, u"No line");
  WriteJournalText(u"D_/a/b\r\n");
  EXPECT_EQ(cache().ApplyPendingDeletes(), 1U);
  EXPECT_EQ(ListingText(u"/a"), u"");
  EXPECT_EQ(Content(u"/a/b/c"), std::nullopt);
  EXPECT_EQ(Content(u"/a/bc"), "only copy");
}

TEST_F(PendingDeletes, TakeALineThatIsTooLongForOnePathAlone) {
  WriteListing(u"/a", u"c?0?1?0?0?0\r\nd?0?1?0?0?0\r\n");
  const Text line = u"F_/" + Text(253, u'x') + u"/a/c\r\n";  // 256 units up to the second path
  WriteJournalText(line + u"F_/a/d\r\n");
  EXPECT_EQ(cache().ApplyPendingDeletes(), 1U);
  EXPECT_EQ(ListingText(u"/a"), u"c?0?1?0?0?0\r\n");
}

// With its line end that is one unit more than the journal's lines have.
TEST_F(PendingDeletes, TakeTheLongestPathThatADriveHolds) {
  const Text name(250, u'x');
  WriteListing(u"/a", name + u"?0?1?0?0?0\r\nz?0?0?0?0?0\r\n");
  WriteJournalText(u"F_/a/" + name + u"\r\n");
  EXPECT_EQ(cache().ApplyPendingDeletes(), 1U);
  EXPECT_EQ(ListingText(u"/a"), u"z?0?0?0?0?0\r\n");
}

TEST_F(PendingDeletes, CharactersOutsideTheSystemsCodePageAreLost) {
  WriteListing(u"/a", u"\u4E2D?0?1?0?0?0\r\n");
  WriteJournalText(u"F_/a/\u4E2D\r\n");
  EXPECT_EQ(cache().ApplyPendingDeletes(), 1U);
  EXPECT_EQ(ListingText(u"/a"), u"\u4E2D?0?1?0?0?0\r\n");
}

}  // namespace
}  // namespace zv::testing
