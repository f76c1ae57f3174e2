// What a host program with the worker in its own process may ask beside the exports.
#include "worker/host_services.h"

#include "config/log.h"
#include "tests/cache/cache_fixture.h"

namespace zv::testing {
namespace {

class HostServices : public CacheTest {
 protected:
  HostServices() { cache(); }

  static void WriteUserLine(TextView line) {
    CLogEvent(u"UserLog.txt").WriteLog(LogLevel::kInformation, u"%s", line);
  }
};

TEST_F(HostServices, AMarkedFileIsPendingAndOverdueUntilItIsSent) {
  EXPECT_FALSE(IsUploadPending(u"\\Docs\\a.txt"));
  MarkUploadPending(u"\\Docs\\a.txt");
  EXPECT_TRUE(IsUploadPending(u"\\Docs\\a.txt"));
  EXPECT_TRUE(IsUploadOverdue(u"\\Docs\\a.txt"));
  EXPECT_FALSE(IsUploadPending(u"\\Docs\\b.txt"));
  ASSERT_EQ(ListPendingUploads().value().size(), 1U);
  EXPECT_EQ(ListPendingUploads().value()[0].path, u"/Docs/a.txt");
  EXPECT_EQ(ListPendingUploads().value()[0].kind, PendingKind::kContent);
  cache().pending().Remove(u"/Docs/a.txt");
  EXPECT_TRUE(ListPendingUploads().value().empty());
  PendingUploads(CacheNames()).Add(u"/Docs/b.txt", PendingKind::kBeingWritten, u"");
  EXPECT_TRUE(ListPendingUploads().value().empty());
  EXPECT_TRUE(IsUploadPending(u"\\Docs\\b.txt"));
}

TEST_F(HostServices, AMarkIsTakenBack) {
  MarkUploadPending(u"\\Docs\\a.txt");
  MarkUploadPending(u"\\Docs\\b.txt");
  UnmarkUploadPending(u"\\Docs\\a.txt");
  EXPECT_FALSE(IsUploadPending(u"\\Docs\\a.txt"));
  EXPECT_TRUE(IsUploadPending(u"\\Docs\\b.txt"));
}

TEST_F(HostServices, AFileKeptOnPurposeIsPendingAndNotOverdue) {
  cache().pending().Add(u"/a.tmp", PendingKind::kCacheOnly, u"");
  EXPECT_TRUE(IsUploadPending(u"\\a.tmp"));
  EXPECT_FALSE(IsUploadOverdue(u"\\a.tmp"));
}

TEST_F(HostServices, EveryFileIsPendingAndOverdueWhileTheListCannotBeRead) {
  MakeFolders(Names().work_folder() + u"pending.txt");  // no file: it cannot be opened as one
  EXPECT_TRUE(IsUploadPending(u"\\a"));
  EXPECT_TRUE(IsUploadOverdue(u"\\a"));
  EXPECT_FALSE(ListPendingUploads());
}

TEST_F(HostServices, TheVersionFollowsTheContentsTime) {
  EXPECT_EQ(CachedContentVersion(u"\\a"), 0U);
  WriteTime(u"/a", kEarly);
  EXPECT_EQ(CachedContentVersion(u"\\a"), 0U);  // there is no content
  WriteContent(u"/a", "content");
  const uint64_t early = CachedContentVersion(u"\\a");
  EXPECT_EQ(early, ToFileTime(FromUnix(kEarly)).value);
  WriteTime(u"/a", kLate);
  EXPECT_GT(CachedContentVersion(u"\\a"), early);
}

TEST_F(HostServices, TheContentFileIsNamedWhileItIsThere) {
  EXPECT_EQ(CachedContentFile(u"\\Docs\\a"), u"");
  WriteContent(u"/Docs/a", "content");
  const Text name = CachedContentFile(u"\\Docs\\a");
  EXPECT_EQ(File::Open(name, Access::kRead, Disposition::kOpenExisting).ReadAll(), "content");
}

TEST_F(HostServices, WhatIsNotCachedWasNeverWritten) {
  EXPECT_EQ(CachedContentWritten(u"\\a"), FileTime{});
  WriteContent(u"/a", "content");
  EXPECT_NE(CachedContentWritten(u"\\a"), FileTime{});
}

TEST_F(HostServices, ContentThatIsDroppedLeavesNeitherFileNorTime) {
  WriteContent(u"/Docs/a", "content");
  WriteTime(u"/Docs/a", kEarly);
  DropCachedContent(u"\\Docs\\a");
  EXPECT_EQ(CachedContentFile(u"\\Docs\\a"), u"");
  WriteContent(u"/Docs/a", "new");
  EXPECT_EQ(CachedContentVersion(u"\\Docs\\a"), 0U);
}

TEST_F(HostServices, TheDiskHasRoomForWhatItsFreeSpaceHolds) {
  EXPECT_TRUE(CacheHasRoom(0));
  EXPECT_FALSE(CacheHasRoom(INT64_MAX));
}

TEST_F(HostServices, TheLastTroubleOfATransferIsItsWholeLine) {
  EXPECT_EQ(LastTransferTrouble(u"/a"), u"");
  WriteUserLine(u"Resuming upload of file /a [retry count 1, 0% transferred]. Reason: first");
  WriteUserLine(u"Resuming upload of file /a [retry count 2, 9% transferred]. Reason: second");
  WriteUserLine(u"Resuming upload of file /ab [retry count 3, 9% transferred]. Reason: other");
  const Text line = LastTransferTrouble(u"/a");
  EXPECT_TRUE(line.starts_with(u"Information")) << ToUtf8(line);
  EXPECT_TRUE(
      line.ends_with(u"Resuming upload of file /a [retry count 2, 9% transferred]. Reason: second"))
      << ToUtf8(line);
}

TEST_F(HostServices, OnlyTheEndOfALongUserLogIsLookedAt) {
  WriteUserLine(u"Resuming upload of file /old [retry count 1, 0% transferred]. Reason: long ago");
  for (int i = 0; i < 200; ++i) WriteUserLine(Text(100, u'x'));
  WriteUserLine(u"Resuming upload of file /new [retry count 1, 0% transferred]. Reason: now");
  EXPECT_EQ(LastTransferTrouble(u"/old"), u"");
  EXPECT_NE(LastTransferTrouble(u"/new"), u"");
}

TEST_F(HostServices, AnUploadWaitsForItsNextAttemptFromItsRefusalUntilItIsSentOrGivenUp) {
  MarkUploadPending(u"\\a");
  MarkUploadPending(u"\\b");
  EXPECT_EQ(UploadBetweenAttempts(), u"");
  WriteUserLine(u"Resuming cache upload of file /a [retry count 1, 9% transferred]. Reason: full");
  EXPECT_EQ(UploadBetweenAttempts(), u"/a");
  WriteUserLine(u"Resuming cache upload of file /b [retry count 1, 9% transferred]. Reason: full");
  EXPECT_EQ(UploadBetweenAttempts(), u"/b");
  cache().pending().Add(u"/b", PendingKind::kContent, u"canceled");
  EXPECT_EQ(UploadBetweenAttempts(), u"/a");
  cache().pending().Remove(u"/a");
  EXPECT_EQ(UploadBetweenAttempts(), u"");
}

}  // namespace
}  // namespace zv::testing
