// Content of which the system does not tell whether it is there. It may be the only copy.
#include <filesystem>

#include "platform/posix/native_path.h"
#include "tests/cache/sync_fixture.h"
#include "tests/support/no_files_left.h"

namespace zv::testing {
namespace {

// Nothing can be told of a link that leads to itself.
void PutUnseen(TextView path) {
  const std::filesystem::path file = ToNativePath(path)->path;
  std::filesystem::remove(file);
  std::filesystem::create_symlink(file.filename(), file);
}

bool IsUnseen(TextView path) { return !FileExists(path) && !IsAbsent(path); }

class UnseenContent : public CacheTest {
 protected:
  void Wait(TextView path) {
    PutUnseen(Names().GetFileRecordName(path));
    cache().pending().Add(path, PendingKind::kContent, u"No line");
  }
  bool IsStillThere(TextView path) const { return IsUnseen(Names().GetFileRecordName(path)); }
};

TEST_F(UnseenContent, IsNotReplacedByADownload) {
  account_.AddFile("/f", "the server's", kEarly);
  Wait(u"/f");
  EXPECT_TRUE(cache().CacheRestoreFile(u"/f"));
  EXPECT_TRUE(IsStillThere(u"/f"));
}

TEST_F(UnseenContent, WaitsOnAndStaysListedWhenItCannotBeSent) {
  VirtualClock clock;
  WriteListing(u"/", u"f?0?12?0?1?2\r\n");
  Wait(u"/f");
  EXPECT_FALSE(cache().TransferCachedFile(u"/f", true));
  ASSERT_EQ(PendingPaths(), List{u"/f"});
  EXPECT_NE(cache().pending().List()[0].reason, u"");
  EXPECT_EQ(ListingText(u"/"), u"f?0?12?0?1?2\r\n");
  EXPECT_FALSE(account_.Has("/f"));
}

TEST_F(UnseenContent, KeepsItsNameOnTheListThroughARename) {
  account_.AddFile("/f", "the server's", kEarly);
  Wait(u"/f");
  EXPECT_EQ(cache().RenameCachedResource(u"/f", u"/g", true), kRenameDone);
  EXPECT_TRUE(IsStillThere(u"/f"));
  EXPECT_TRUE(cache().pending().Contains(u"/f"));
  EXPECT_TRUE(Logged(u"Unable to rename the pending upload of /f, Reason: "));
}

TEST_F(UnseenContent, ThatCannotBeClearedIsToldInTheLog) {
  const Text file = Names().GetFileRecordName(u"/f");
  PutUnseen(file);
  EXPECT_FALSE(cache().ClearCache(file));
  EXPECT_TRUE(Logged(u"Error clearing cache for " + file + u" file, Reason: "));
}

TEST_F(UnseenContent, WithATimeThatCannotBeSeenTakesNoBlock) {
  WriteContent(u"/f", "content");
  PutUnseen(Names().GetTimeFileName(u"/f"));
  EXPECT_FALSE(Store(u"/f", "new"));
  EXPECT_EQ(Content(u"/f"), "content");
}

TEST_F(UnseenContent, FailsAReadInsteadOfTheServersOldBytes) {
  account_.AddFile("/f", "the server's", kEarly);
  Wait(u"/f");
  EXPECT_FALSE(Read(u"/f", 0, 5).done);
  EXPECT_EQ(account_.Count("GET"), 0U);
}

TEST_F(UnseenContent, OfASystemWithoutOpenFilesFailsARead) {
  WriteContent(u"/f", "content");
  Wait(u"/g");
  EXPECT_FALSE(Read(u"/g", 0, 7).done);
  {
    const NoFilesLeft none;
    EXPECT_FALSE(Read(u"/f", 0, 7).done);
  }
  EXPECT_EQ(Read(u"/f", 0, 7).bytes, "content");
}

TEST_F(UnseenContent, OfAListingStaysAtTheCheckOfAFileWhoseOldContentGoes) {
  account_.AddFile("/f", "the server's", kEarly);
  WriteContent(u"/f", "older");
  const Text listing = Names().GetDirRecordName(u"/");
  PutUnseen(listing);
  EXPECT_EQ(cache().CheckFileModified(u"Z:\\f"), 1U);
  EXPECT_TRUE(IsUnseen(listing));
  EXPECT_EQ(Content(u"/f"), std::nullopt);
  EXPECT_TRUE(Logged(u"Unable to open file in AddFileEntryToCacheFile " + listing +
                     u" for writing cache details, Reason: "));
}

class UnseenSyncContent : public SyncTest {};

TEST_F(UnseenSyncContent, IsNotTakenForHandedOver) {
  PutUnseen(Names().GetFileRecordName(u"/Docs/a.txt"));
  EXPECT_FALSE(cache().TransferCachedFile(u"/Docs/a.txt", true));
  EXPECT_TRUE(recorder_.calls.empty());
  EXPECT_EQ(PendingPaths(), List{u"/Docs/a.txt"});
}

}  // namespace
}  // namespace zv::testing
