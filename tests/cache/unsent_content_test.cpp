// Content that only this machine has: what renames, downloads and a list that cannot be read leave
// of it.
#include "tests/cache/sync_fixture.h"

namespace zv::testing {
namespace {

class UnsentContent : public CacheTest {
 protected:
  UnsentContent() { account_.AddFile("/f", "the server's", kEarly); }
  void Wait(TextView path) {
    WriteContent(path, "only copy");
    cache().pending().Add(path, PendingKind::kContent, u"No line");
  }
  void MakeListUnreadable() {
    const Text list = Names().work_folder() + u"pending.txt";
    RemoveFile(list);
    MakeFolders(list);  // no file: it cannot be opened as one
  }
};

TEST_F(UnsentContent, StaysAtACheckWhileTheListCannotBeRead) {
  Wait(u"/f");
  MakeListUnreadable();
  EXPECT_EQ(cache().CheckFileModified(u"Z:\\f"), 1U);
  EXPECT_EQ(Content(u"/f"), "only copy");
}

TEST_F(UnsentContent, StaysAtAnyClearingWhileTheListCannotBeRead) {
  Wait(u"/f");
  MakeListUnreadable();
  EXPECT_FALSE(cache().ClearCache(u""));
  EXPECT_FALSE(cache().ClearCache(Names().GetFileRecordName(u"/f")));
  cache().ClearCacheForPath(u"/f", ClearKind::kFolder);
  EXPECT_EQ(Content(u"/f"), "only copy");
  EXPECT_TRUE(Logged(u"Error clearing cache for  file, Reason: "));
}

TEST_F(UnsentContent, IsNotReplacedByADownloadWhileTheListCannotBeRead) {
  Wait(u"/f");
  MakeListUnreadable();
  EXPECT_TRUE(cache().CacheRestoreFile(u"/f"));
  EXPECT_EQ(Content(u"/f"), "only copy");
}

TEST_F(UnsentContent, IsNotMovedToANameThatCannotBeListed) {
  Wait(u"/p");
  WriteListing(u"", u"p?0?9?0?1?2\r\n");
  MakeListUnreadable();
  EXPECT_EQ(cache().RenameCachedResource(u"/p", u"/q", true), kRenameDone);
  EXPECT_EQ(Content(u"/p"), "only copy");
  EXPECT_TRUE(Logged(u"Unable to rename the pending upload of /p, Reason: "));
}

TEST_F(UnsentContent, ThatGetsThePathOfADownloadUnderWayIsNotReplacedByIt) {
  Wait(u"/p");
  account_.OnAnswer([](const Request& request) {
    if (request.verb != "GET") return;
    CCache other;
    EXPECT_EQ(other.RenameCachedResource(u"/p", u"/f", true), kRenameDone);
  });
  EXPECT_TRUE(cache().CacheRestoreFile(u"\\f"));
  EXPECT_EQ(Content(u"/f"), "only copy");
  EXPECT_FALSE(HasTime(u"/f"));
  EXPECT_EQ(PendingPaths(), std::vector<Text>{u"/f"});
}

TEST_F(UnsentContent, OfAPathWithBackslashesStaysAtAReadPastItsEnd) {
  Wait(u"/d/f");
  EXPECT_FALSE(Read(u"\\d\\f", 100, 5).done);
  EXPECT_EQ(Content(u"/d/f"), "only copy");
}

TEST_F(UnsentContent, ThatIsReplacedByARenameWaitsNoLonger) {
  Wait(u"/q");
  cache().pending().Add(u"/q/gone", PendingKind::kEmpty, u"");
  WriteListing(u"", u"f?0?12?0?1?2\r\n");
  EXPECT_EQ(cache().RenameCachedResource(u"/f", u"/q", true), kRenameDone);
  EXPECT_EQ(Content(u"/q"), std::nullopt);
  EXPECT_TRUE(PendingPaths().empty());
}

// A kill after the new name was listed and before the content was moved.
TEST_F(UnsentContent, AListedNameWithoutContentIsDroppedWhenItIsToBeSent) {
  Wait(u"/p");
  ASSERT_TRUE(cache().pending().AddRenamed(u"/p", u"/q"));
  Restart();
  VirtualClock clock;
  cache().TransferCachedFile(u"/q", true);
  EXPECT_FALSE(account_.Has("/q"));
  EXPECT_EQ(PendingPaths(), std::vector<Text>{u"/p"});
  EXPECT_TRUE(cache().TransferCachedFile(u"/p", true));
  EXPECT_EQ(account_.Content("/p"), "only copy");
}

class UnsentSyncContent : public SyncTest {
 protected:
  void Wait(TextView path, std::string_view bytes) {
    WriteContent(path, bytes);
    cache().pending().Add(path, PendingKind::kContent, u"No line");
  }
  uint32_t RefusedRename(TextView from, TextView to) {
    recorder_.result = 0;
    return cache().RenameCachedResource(from, to, true);
  }
};

TEST_F(UnsentSyncContent, AListedNameWithoutContentIsDroppedWhenItIsToBeSent) {
  cache().pending().Add(u"/p.txt", PendingKind::kContent, u"");
  cache().pending().Add(u"/q.tmp", PendingKind::kBeingWritten, u"");
  cache().pending().Add(u"/empty", PendingKind::kCacheOnly, u"");
  recorder_.result = 0;
  cache().TransferCachedFile(u"/p.txt", true);
  cache().TransferCachedFile(u"/q.tmp", false);
  cache().TransferCachedFile(u"/empty", false);
  EXPECT_EQ(PendingPaths(), std::vector<Text>{u"/empty"});
}

TEST_F(UnsentSyncContent, ThatIsToBeKeptHereAndCannotBeNotedIsNoSuccess) {
  WriteListing(u"/", u"");
  MakeFolders(Names().work_folder() + u"pending.txt");  // no file: it cannot be opened as one
  TransferRequest empty;
  empty.path = u"/a.tmp";
  EXPECT_FALSE(cache().BackupZeroFile(empty, false));
  WriteContent(u"/b.tmp", "x");
  EXPECT_FALSE(cache().TransferCachedFile(u"/b.tmp", false));
}

TEST_F(UnsentSyncContent, OfTheTargetOfARefusedRenameStays) {
  WriteListing(u"/d", u"a.tmp?0?5?0?0?0\r\nb?0?6?0?0?0\r\n");
  Wait(u"/d/b", "target");
  Wait(u"/d/a.tmp", "saved");
  EXPECT_EQ(RefusedRename(u"/d/a.tmp", u"/d/b"), kRenameFailed);
  EXPECT_EQ(Content(u"/d/b"), "target");
  EXPECT_EQ(Content(u"/d/a.tmp"), "saved");
  EXPECT_EQ(PendingPaths(), (List{u"/d/b", u"/d/a.tmp"}));
}

TEST_F(UnsentSyncContent, WhoseRenameOntoACachedFileIsRefusedKeepsItsName) {
  WriteListing(u"/d", u"a?0?5?0?0?0\r\nb?0?6?0?0?0\r\n");
  WriteContent(u"/d/b", "target");
  Wait(u"/d/a", "saved");
  EXPECT_EQ(RefusedRename(u"/d/a", u"/d/b"), kRenameFailed);
  EXPECT_EQ(Content(u"/d/b"), "target");
  EXPECT_EQ(Content(u"/d/a"), "saved");
  EXPECT_EQ(PendingPaths(), List{u"/d/a"});
}

TEST_F(UnsentSyncContent, InAFolderWhoseRenameIsRefusedKeepsItsName) {
  WriteListing(u"/", u"d?1?0?1?0?0\r\n");
  Wait(u"/d/a.txt", "only copy");
  EXPECT_EQ(RefusedRename(u"/d", u"/e"), kRenameFailed);
  EXPECT_EQ(PendingPaths(), std::vector<Text>{u"/d/a.txt"});
  EXPECT_EQ(Content(u"/d/a.txt"), "only copy");
}

TEST_F(UnsentSyncContent, ThatCannotBeDeletedIsNoSuccess) {
  const Text content = Names().GetFileRecordName(u"/a.tmp");
  MakeFolders(content);  // no file: it cannot be removed as one
  MakeFolders(Names().work_folder() + u"pending.txt");
  EXPECT_FALSE(cache().DeleteCachedResource(u"/a.tmp", true));
}

TEST_F(UnsentSyncContent, BeneathTheTargetOfARefusedRenameStays) {
  Wait(u"/d/b/f", "target");
  EXPECT_EQ(RefusedRename(u"/d/a", u"/d/b"), kRenameFailed);
  EXPECT_EQ(Content(u"/d/b/f"), "target");
  EXPECT_EQ(PendingPaths(), List{u"/d/b/f"});
}

TEST_F(UnsentSyncContent, IsNotReplacedByADownloadThatEndsLater) {
  recorder_.effect = [this] {
    WriteFileBytes(Folder() + u"f", "the server's");
    WriteContent(u"/d/f", "only copy");
    PendingUploads(Names()).Add(u"/d/f", PendingKind::kContent, u"");
  };
  EXPECT_TRUE(cache().CacheRestoreFile(u"\\d\\f"));
  EXPECT_EQ(Content(u"/d/f"), "only copy");
  EXPECT_FALSE(FileExists(Folder() + u"f"));
}

}  // namespace
}  // namespace zv::testing
