// Folders made, entries renamed and deleted.
#include <gtest/gtest.h>

#include "platform/clock_testing.h"
#include "tests/cache/cache_fixture.h"

namespace zv::testing {
namespace {

class Changes : public CacheTest {
 protected:
  Changes() {
    account_.AddFolder("/a", kEarly);
    account_.AddFolder("/b", kEarly);
    account_.AddFile("/a/f.txt", "12345", kEarly);
  }
};

class NewFolder : public Changes {
 protected:
  VirtualClock clock_{ToFileTime(Seconds1601{13'000'000'000})};
  static constexpr TextView kRecord = u"new?1?0?0?13000000000?13000000000\r\n";
};

TEST_F(NewFolder, IsMadeOnTheServerAndListedInItsParent) {
  WriteListing(u"/a", u"x?0?1?0?0?0\r\n");
  EXPECT_TRUE(cache().CreateCacheDirectory(u"\\a\\new"));
  EXPECT_TRUE(account_.Has("/a/new"));
  EXPECT_EQ(ListingText(u"/a"), u"x?0?1?0?0?0\r\n" + Text(kRecord));
  EXPECT_FALSE(HasListing(u"/a/new"));
}

TEST_F(NewFolder, InAFolderNeverListedMakesAListingOfItAlone) {
  EXPECT_TRUE(cache().CreateCacheDirectory(u"/a/new"));
  EXPECT_EQ(ListingText(u"/a"), kRecord);
}

TEST_F(NewFolder, InTheRootIsListedInTheRootListing) {
  EXPECT_TRUE(cache().CreateCacheDirectory(u"\\new"));
  EXPECT_EQ(ListingText(u"/"), kRecord);
}

TEST_F(NewFolder, ThatIsThereAlreadyCountsAsMadeAndIsListedOnce) {
  EXPECT_TRUE(cache().CreateCacheDirectory(u"/a/new"));
  EXPECT_TRUE(cache().CreateCacheDirectory(u"/a/new"));
  EXPECT_EQ(ListingText(u"/a"), kRecord);
}

TEST_F(NewFolder, AfterTheRootLinesOfItsParentCanBeRead) {
  FindData information;
  information.attributes = kAttributeDirectory;
  WriteListing(u"/", u"");
  cache().UpdateCacheFileList(u"/a", information);
  EXPECT_TRUE(cache().CreateCacheDirectory(u"/a/new"));
  DirectoryEntry entry;
  EXPECT_TRUE(cache().GetCachedResourceDetails(u"/a/new", &entry));
  EXPECT_EQ(entry.directory_flag, 1U);
}

TEST_F(NewFolder, ThatTheServerRefusesIsNotListed) {
  account_.Force("MKCOL", 423);
  EXPECT_FALSE(cache().CreateCacheDirectory(u"/a/new"));
  EXPECT_FALSE(HasListing(u"/a"));
}

TEST_F(NewFolder, WhoseParentsListingCannotBeOpenedIsToldByTheParentsPath) {
  MakeFolders(Names().GetDirRecordName(u"/a"));
  EXPECT_FALSE(cache().CreateCacheDirectory(u"/a/new"));
  EXPECT_TRUE(Logged(u"Unable to open file /a for writing cache details, Reason: "));
}

class RenameTest : public Changes {
 protected:
  uint32_t Move(TextView from, TextView to) {
    return cache().RenameCachedResource(from, to, false);
  }
  void CacheFolder(TextView folder) {
    WriteListing(folder, u"r?0?0?0?0?0\r\n");
    WriteTime(Text(folder) + u"/", kEarly);
    WriteContent(Text(folder) + u"/c", ToUtf8(folder));
    WriteTime(Text(folder) + u"/c", kEarly);
  }
};

TEST_F(RenameTest, OfAFileInItsFolderMovesRecordContentAndTime) {
  WriteListing(u"/a", u"f.txt?0?5?32?1?2\r\nz?0?0?0?0?0\r\n");
  WriteContent(u"/a/f.txt", "12345");
  WriteTime(u"/a/f.txt", kEarly);
  EXPECT_EQ(Move(u"/a/f.txt", u"/a/g.txt"), kRenameDone);
  EXPECT_TRUE(account_.Has("/a/g.txt"));
  EXPECT_EQ(ListingText(u"/a"), u"g.txt?0?5?32?1?2\r\nz?0?0?0?0?0\r\n");
  EXPECT_EQ(Content(u"/a/f.txt"), std::nullopt);
  EXPECT_FALSE(HasTime(u"/a/f.txt"));
  EXPECT_EQ(Content(u"/a/g.txt"), "12345");
  EXPECT_EQ(TimeOf(u"/a/g.txt"), kEarly);
}

TEST_F(RenameTest, OfAFileAcrossFoldersMovesItsRecordUnderItsNewName) {
  WriteListing(u"/a", u"f.txt?0?5?32?1?2\r\n");
  WriteListing(u"/b", u"z?0?0?0?0?0\r\n");
  EXPECT_EQ(Move(u"/a/f.txt", u"/b/g.txt"), kRenameDone);
  EXPECT_EQ(ListingText(u"/a"), u"");
  EXPECT_EQ(ListingText(u"/b"), u"z?0?0?0?0?0\r\ng.txt?0?5?32?1?2\r\n");
}

TEST_F(RenameTest, AcrossFoldersReplacesAStaleRecord) {
  WriteListing(u"/a", u"f.txt?0?5?32?1?2\r\n");
  WriteListing(u"/b", u"g.txt?0?9?0?0?0\r\n");
  EXPECT_EQ(Move(u"/a/f.txt", u"/b/g.txt"), kRenameDone);
  EXPECT_EQ(ListingText(u"/b"), u"g.txt?0?5?32?1?2\r\n");
}

TEST_F(RenameTest, OfAFileThatIsNotListedAddsNoRecord) {
  WriteListing(u"/a", u"z?0?0?0?0?0\r\n");
  EXPECT_EQ(Move(u"/a/f.txt", u"/b/g.txt"), kRenameDone);
  EXPECT_FALSE(HasListing(u"/b"));
}

TEST_F(RenameTest, OfAFileThatWasNeverCachedLeavesNoContentBehind) {
  WriteListing(u"/a", u"f.txt?0?5?32?1?2\r\n");
  WriteContent(u"/a/g.txt", "stale");
  WriteTime(u"/a/g.txt", kLate);
  EXPECT_EQ(Move(u"/a/f.txt", u"/a/g.txt"), kRenameDone);
  EXPECT_EQ(ListingText(u"/a"), u"g.txt?0?5?32?1?2\r\n");
  EXPECT_EQ(Content(u"/a/g.txt"), std::nullopt);
  EXPECT_FALSE(HasTime(u"/a/g.txt"));
}

TEST_F(RenameTest, OfAFolderMovesItsSubtreeButNoSiblings) {
  account_.AddFolder("/a/x", kEarly);
  WriteListing(u"/a", u"x?1?0?0?1?2\r\n");
  for (const TextView folder : {u"/a/x", u"/a/x/deep", u"/a/xyz"}) CacheFolder(folder);
  EXPECT_EQ(Move(u"/a/x", u"/a/y"), kRenameDone);
  EXPECT_EQ(ListingText(u"/a"), u"y?1?0?0?1?2\r\n");
  for (const TextView folder : {u"/a/x", u"/a/x/deep"}) {
    EXPECT_FALSE(HasListing(folder));
    EXPECT_FALSE(HasTime(Text(folder) + u"/"));
    EXPECT_FALSE(Content(Text(folder) + u"/c"));
    EXPECT_FALSE(HasTime(Text(folder) + u"/c"));
  }
  for (const TextView folder : {u"/a/y", u"/a/y/deep"}) {
    EXPECT_TRUE(HasListing(folder));
    EXPECT_EQ(TimeOf(Text(folder) + u"/"), kEarly);
    EXPECT_EQ(TimeOf(Text(folder) + u"/c"), kEarly);
  }
  EXPECT_EQ(Content(u"/a/y/c"), "/a/x");
  EXPECT_EQ(Content(u"/a/y/deep/c"), "/a/x/deep");
  EXPECT_TRUE(HasListing(u"/a/xyz"));
  EXPECT_EQ(Content(u"/a/xyz/c"), "/a/xyz");
}

TEST_F(RenameTest, OfAFolderClearsWhatWasCachedUnderItsNewName) {
  account_.AddFolder("/a/x", kEarly);
  WriteListing(u"/a", u"x?1?0?0?1?2\r\n");
  CacheFolder(u"/a/y");
  CacheFolder(u"/a/yz");
  EXPECT_EQ(Move(u"/a/x", u"/a/y"), kRenameDone);
  EXPECT_FALSE(HasListing(u"/a/y"));
  EXPECT_FALSE(HasTime(u"/a/y/"));
  EXPECT_FALSE(Content(u"/a/y/c"));
  EXPECT_TRUE(HasListing(u"/a/yz"));
}

TEST_F(RenameTest, OfAFolderThatIsNotListedMovesItsSubtree) {
  account_.AddFolder("/a/x", kEarly);
  CacheFolder(u"/a/x");
  EXPECT_EQ(Move(u"/a/x", u"/b/y"), kRenameDone);
  EXPECT_TRUE(HasListing(u"/b/y"));
  EXPECT_EQ(Content(u"/b/y/c"), "/a/x");
}

TEST_F(RenameTest, ThatChangesTheCaseAloneKeepsTheContent) {
  WriteListing(u"/a", u"f.txt?0?5?32?1?2\r\n");
  WriteContent(u"/a/f.txt", "12345");
  WriteTime(u"/a/f.txt", kEarly);
  EXPECT_EQ(Move(u"/a/f.txt", u"/a/F.txt"), kRenameDone);
  EXPECT_EQ(ListingText(u"/a"), u"F.txt?0?5?32?1?2\r\n");
  EXPECT_EQ(Content(u"/a/F.txt"), "12345");
  EXPECT_EQ(TimeOf(u"/a/F.txt"), kEarly);
}

TEST_F(RenameTest, ThatLeavesTheCacheNameAsItIsKeepsTheContent) {
  account_.AddFile("/a#g.txt", "12345", kEarly);
  WriteListing(u"", u"a#g.txt?0?5?32?1?2\r\n");
  WriteContent(u"/a#g.txt", "12345");
  WriteTime(u"/a#g.txt", kEarly);
  EXPECT_EQ(Move(u"/a#g.txt", u"/a/g.txt"), kRenameDone);
  EXPECT_EQ(Content(u"/a/g.txt"), "12345");
  EXPECT_EQ(TimeOf(u"/a/g.txt"), kEarly);
}

TEST_F(RenameTest, OfAFolderThatLeavesItsCacheNameAsItIsKeepsItsSubtree) {
  account_.AddFolder("/a#d", kEarly);
  WriteListing(u"", u"a#d?1?0?16?1?2\r\n");
  WriteListing(u"/a#d", u"f.txt?0?5?32?1?2\r\n");
  WriteContent(u"/a#d/f.txt", "12345");
  EXPECT_EQ(Move(u"/a#d", u"/a/d"), kRenameDone);
  EXPECT_EQ(ListingText(u"/a/d"), u"f.txt?0?5?32?1?2\r\n");
  EXPECT_EQ(Content(u"/a/d/f.txt"), "12345");
}

TEST_F(RenameTest, OntoAnExistingNameIsToldApartAndChangesNothing) {
  account_.AddFile("/a/g.txt", "", kEarly);
  WriteListing(u"/a", u"f.txt?0?5?32?1?2\r\n");
  WriteContent(u"/a/f.txt", "12345");
  EXPECT_EQ(Move(u"/a/f.txt", u"/a/g.txt"), kRenameTargetExists);
  EXPECT_EQ(ListingText(u"/a"), u"f.txt?0?5?32?1?2\r\n");
  EXPECT_EQ(Content(u"/a/f.txt"), "12345");
}

TEST_F(RenameTest, ThatTheServerRefusesChangesNothing) {
  WriteListing(u"/a", u"f.txt?0?5?32?1?2\r\n");
  WriteContent(u"/a/f.txt", "12345");
  for (const int status : {403, 423, 500, 502}) {
    account_.Force("MOVE", status);
    EXPECT_EQ(Move(u"/a/f.txt", u"/a/g.txt"), kRenameFailed);
  }
  EXPECT_EQ(ListingText(u"/a"), u"f.txt?0?5?32?1?2\r\n");
  EXPECT_EQ(Content(u"/a/f.txt"), "12345");
}

TEST_F(RenameTest, OfAFileThatNeverReachedTheServerHappensHereAlone) {
  WriteListing(u"/a", u"t.tmp?0?3?0?1?2\r\n");
  WriteContent(u"/a/t.tmp", "new");
  cache().pending().Add(u"/a/t.tmp", PendingKind::kContent, u"No line");
  EXPECT_EQ(Move(u"/a/t.tmp", u"/a/doc"), kRenameDone);
  EXPECT_EQ(ListingText(u"/a"), u"doc?0?3?0?1?2\r\n");
  EXPECT_EQ(Content(u"/a/doc"), "new");
  EXPECT_EQ(PendingPaths(), std::vector<Text>{u"/a/doc"});
}

TEST_F(RenameTest, OfAFolderTakesItsPendingFilesAlong) {
  cache().pending().Add(u"/a/f2", PendingKind::kContent, u"");
  WriteContent(u"/a/f2", "new");
  EXPECT_EQ(Move(u"/a", u"/c"), kRenameDone);
  EXPECT_EQ(PendingPaths(), std::vector<Text>{u"/c/f2"});
  EXPECT_EQ(Content(u"/c/f2"), "new");
}

TEST_F(RenameTest, OntoTheCacheNamesOfItsOwnSubtreeLosesNothing) {
  account_.AddFolder("/x", kEarly);
  WriteListing(u"", u"x?1?0?16?1?2\r\n");
  WriteListing(u"/x", u"y?1?0?16?1?2\r\n");
  WriteListing(u"/x/y", u"f?0?3?0?1?2\r\n");
  WriteContent(u"/x/y/f", "new");
  cache().pending().Add(u"/x/y/f", PendingKind::kContent, u"");
  EXPECT_EQ(Move(u"/x", u"/x#y"), kRenameDone);
  EXPECT_EQ(PendingPaths(), std::vector<Text>{u"/x#y/y/f"});
  EXPECT_EQ(Content(u"/x#y/y/f"), "new");
  EXPECT_EQ(ListingText(u"/x#y"), u"y?1?0?16?1?2\r\n");
  EXPECT_EQ(ListingText(u"/x#y/y"), u"f?0?3?0?1?2\r\n");
}

class DeleteTest : public Changes {
 protected:
  bool Delete(TextView path) { return cache().DeleteCachedResource(path, true); }
};

TEST_F(DeleteTest, OfAFileDropsContentTimeAndRecord) {
  WriteListing(u"/a", u"f.txt?0?5?0?1?2\r\nz?0?0?0?0?0\r\n");
  WriteContent(u"/a/f.txt", "12345");
  WriteTime(u"/a/f.txt", kEarly);
  EXPECT_TRUE(Delete(u"/a/f.txt"));
  EXPECT_FALSE(account_.Has("/a/f.txt"));
  EXPECT_EQ(ListingText(u"/a"), u"z?0?0?0?0?0\r\n");
  EXPECT_EQ(Content(u"/a/f.txt"), std::nullopt);
  EXPECT_FALSE(HasTime(u"/a/f.txt"));
}

TEST_F(DeleteTest, OfAFileInTheRootDropsItsRecordInTheRootListing) {
  account_.AddFile("/r", "1", kEarly);
  WriteListing(u"/", u"r?0?1?0?0?0\r\n");
  EXPECT_TRUE(Delete(u"/r"));
  EXPECT_EQ(ListingText(u"/"), u"");
}

TEST_F(DeleteTest, OfAFolderDropsItsSubtree) {
  account_.AddFolder("/a/x", kEarly);
  WriteListing(u"/a", u"x?1?0?0?1?2\r\n");
  WriteListing(u"/a/x", u"c?0?0?0?0?0\r\n");
  WriteContent(u"/a/x/c", "1");
  EXPECT_TRUE(Delete(u"/a/x"));
  EXPECT_EQ(ListingText(u"/a"), u"");
  EXPECT_FALSE(HasListing(u"/a/x"));
  EXPECT_EQ(Content(u"/a/x/c"), std::nullopt);
}

TEST_F(DeleteTest, OfAFolderWithATrailingSlashDropsItsRecord) {
  account_.AddFolder("/a/x", kEarly);
  WriteListing(u"/a", u"x?1?0?0?1?2\r\n");
  EXPECT_TRUE(Delete(u"/a/x/"));
  EXPECT_EQ(ListingText(u"/a"), u"");
}

TEST_F(DeleteTest, ThatTheServerRefusesChangesNothing) {
  WriteListing(u"/a", u"f.txt?0?5?0?1?2\r\n");
  WriteContent(u"/a/f.txt", "12345");
  account_.Force("DELETE", 423);
  EXPECT_FALSE(Delete(u"/a/f.txt"));
  EXPECT_EQ(ListingText(u"/a"), u"f.txt?0?5?0?1?2\r\n");
  EXPECT_EQ(Content(u"/a/f.txt"), "12345");
}

TEST_F(DeleteTest, OfTheRootIsRefusedWithoutARequest) {
  EXPECT_FALSE(Delete(u"/"));
  EXPECT_FALSE(Delete(u""));
  EXPECT_EQ(account_.server().request_count(), 0U);
}

TEST_F(DeleteTest, OfAPendingFileThatNeverReachedTheServerHappensHereAlone) {
  WriteListing(u"/a", u"p?0?3?0?1?2\r\n");
  WriteContent(u"/a/p", "new");
  cache().pending().Add(u"/a/p", PendingKind::kContent, u"No line");
  EXPECT_TRUE(Delete(u"/a/p"));
  EXPECT_EQ(ListingText(u"/a"), u"");
  EXPECT_EQ(Content(u"/a/p"), std::nullopt);
  EXPECT_TRUE(PendingPaths().empty());
}

TEST_F(DeleteTest, OfAPendingFileDuringAnOutageIsRefused) {
  WriteContent(u"/a/p", "new");
  cache().pending().Add(u"/a/p", PendingKind::kContent, u"No line");
  account_.Force("DELETE", 503);
  EXPECT_FALSE(Delete(u"/a/p"));
  EXPECT_EQ(Content(u"/a/p"), "new");
  EXPECT_EQ(PendingPaths(), std::vector<Text>{u"/a/p"});
}

TEST_F(DeleteTest, OfAFileThatIsNotOnTheServerNorPendingFails) {
  WriteListing(u"/a", u"q?0?3?0?1?2\r\n");
  EXPECT_FALSE(Delete(u"/a/q"));
  EXPECT_EQ(ListingText(u"/a"), u"q?0?3?0?1?2\r\n");
}

TEST_F(DeleteTest, OfAFolderForgetsItsPendingFiles) {
  WriteListing(u"/", u"a?1?0?0?0?0\r\n");
  WriteContent(u"/a/p", "new");
  cache().pending().Add(u"/a/p", PendingKind::kContent, u"");
  EXPECT_TRUE(Delete(u"/a"));
  EXPECT_TRUE(PendingPaths().empty());
  EXPECT_EQ(Content(u"/a/p"), std::nullopt);
}

}  // namespace
}  // namespace zv::testing
