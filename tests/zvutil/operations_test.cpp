#include "zvutil/operations.h"

#include "cache/cache_names.h"
#include "cache/time_file.h"
#include "platform/clock_testing.h"
#include "platform/file.h"
#include "tests/zvutil/zvutil_fixture.h"
#include "webdav/listing_testing.h"

namespace zv::testing {
namespace {

constexpr int64_t kTime = 1'234'000'000;  // seconds since 1970
constexpr int64_t kUsedBytes = 7 << 20;   // what the account in memory says
constexpr TextView kStaged = u"C:\\Stratel Drive\\cache@anna\\a.txt";

class OperationsTest : public SyncAccountTest {
 protected:
  SyncLogin login() const {
    return {.user = Text(kUser), .password = Text(kPassword), .web_server = server()};
  }
  Text server() const { return const_cast<FakeAccount&>(account_).server().host(); }

  OperationsTest() { MakeFolders(CacheNames().folder()); }

  bool Download(TextView source) {
    WriteJournal(u"Download_dst.txt", CacheNames().folder());
    WriteJournal(u"Download_src.txt", source);
    return DownloadSyncFile(login());
  }
  bool Upload(std::string_view content) {
    WriteFileBytes(kStaged, content);
    WriteJournal(u"Upload_dst.txt", u"/Docs/");
    WriteJournal(u"Upload_src.txt", u"F_" + Text(kStaged));
    return UploadSyncFile(login());
  }
  bool Rename(TextView from, TextView to) {
    WriteJournal(u"Rename_src.txt", from);
    WriteJournal(u"Rename_dst.txt", to);
    return RenameSyncEntry(login());
  }
  bool Delete(TextView entry) {
    WriteJournal(u"Delete_src.txt", entry);
    return DeleteSyncEntry(login());
  }
  // The file is there; what the account holds by now is answered so that it cannot be told.
  void ExpectAnUploadWithoutUsedSpace(const Reply& answer) {
    account_.OnAnswer([&](const Request& request) {
      if (request.verb == "GET") account_.server().Enqueue(answer);
    });
    EXPECT_TRUE(Upload("the content"));
    EXPECT_EQ(account_.Content("/Docs/a.txt"), "the content");
    EXPECT_EQ(QuotaFile(), "(none)");
    EXPECT_NE(home_.LogText(u"DavDebug.txt").find(u"Internet Error from DAV GetContents, Reason: "),
              Text::npos);
  }
  std::optional<std::string> Downloaded(TextView leaf) const {
    return ReadFileBytes(CacheNames().folder() + Text(leaf));
  }

  VirtualClock clock_;
};

TEST_F(OperationsTest, AListingBeginsWithTheFolderItselfAndEndsWithTheFlag) {
  account_.AddFolder("/Docs", kTime);
  account_.AddFolder("/Docs/deep", kTime);
  account_.AddFile("/Docs/a.txt", "12345", kTime);
  WriteJournal(u"Source.txt", u"/Docs/");
  std::vector<DirectoryEntry> entries;
  ASSERT_TRUE(ListSyncFolder(login(), &entries));
  ASSERT_EQ(entries.size(), 4U);
  EXPECT_EQ(entries[0].Name(), u".");
  EXPECT_EQ(entries[1].Name(), u"..");
  EXPECT_EQ(entries[2].Name(), u"a.txt");
  EXPECT_EQ(entries[2].directory_flag, 0U);
  EXPECT_EQ(entries[2].size, 5);
  EXPECT_EQ(entries[2].last_write_time, kTime + 11'644'473'600);
  EXPECT_EQ(entries[3].Name(), u"deep");
  EXPECT_EQ(entries[3].directory_flag, 1U);
  for (const DirectoryEntry& entry : entries) {
    EXPECT_EQ(entry.last_entry, &entry == &entries.back() ? 1U : 0U);
  }
}

TEST_F(OperationsTest, AnEmptyFolderIsItselfAlone) {
  account_.AddFolder("/Docs", kTime);
  WriteJournal(u"Source.txt", u"/Docs/");
  std::vector<DirectoryEntry> entries;
  ASSERT_TRUE(ListSyncFolder(login(), &entries));
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[1].last_entry, 1U);
}

TEST_F(OperationsTest, AListingKeepsTheUsedSpaceUpToDate) {
  WriteJournal(u"Source.txt", u"/");
  std::vector<DirectoryEntry> entries;
  ASSERT_TRUE(ListSyncFolder(login(), &entries));
  EXPECT_EQ(GetSyncUsedQuota(), kUsedBytes);
}

TEST_F(OperationsTest, AListingThatFailsGivesNothing) {
  std::vector<DirectoryEntry> entries(1);
  EXPECT_FALSE(ListSyncFolder(login(), &entries)) << "without a journal";
  EXPECT_TRUE(entries.empty());
  EXPECT_EQ(account_.server().request_count(), 0U);
  WriteJournal(u"Source.txt", u"/nothing/");
  EXPECT_FALSE(ListSyncFolder(login(), &entries));
  EXPECT_EQ(QuotaFile(), "(none)");
}

TEST_F(OperationsTest, ServerUserAndPasswordAreTheCalls) {
  WriteJournal(u"Source.txt", u"/");
  std::vector<DirectoryEntry> entries;
  ASSERT_TRUE(ListSyncFolder(login(), &entries));
  const Request request = account_.server().requests().at(0);
  EXPECT_EQ(request.target, "/users/anna/Files/");
  EXPECT_EQ(request.Header("Authorization"), "Basic YW5uYTpzZWNyZXQ=");
}

TEST_F(OperationsTest, ADownloadLiesUnderItsOwnNameAndItsTimeBesideTheContentFile) {
  account_.AddFile("/Docs/a b.txt", "content", kTime);
  WriteFileBytes(CacheNames().folder() + u"a b.txt", "something longer from earlier");
  EXPECT_TRUE(Download(u"F_/Docs/a b.txt"));
  EXPECT_EQ(Downloaded(u"a b.txt"), "content");
  FileTime time;
  ASSERT_TRUE(GetFileTimeEntry(CacheNames(), u"/Docs/a b.txt", &time));
  EXPECT_EQ(ToSeconds(time).value, kTime + 11'644'473'600);
}

TEST_F(OperationsTest, ADownloadThatFailsLeavesNothing) {
  WriteFileBytes(CacheNames().folder() + u"a.txt", "of another file");
  EXPECT_FALSE(Download(u"F_/Docs/a.txt"));
  EXPECT_EQ(Downloaded(u"a.txt"), std::nullopt);
}

TEST_F(OperationsTest, AFolderOrANameThatIsNoneIsNotDownloaded) {
  account_.AddFolder("/Docs", kTime);
  EXPECT_FALSE(Download(u"D_/Docs"));
  EXPECT_FALSE(Download(u"F_/Docs/"));
  EXPECT_FALSE(Download(u"F_/Docs/.."));
  EXPECT_FALSE(Download(u"/Docs/a.txt"));
  EXPECT_EQ(account_.server().request_count(), 0U);
}

TEST_F(OperationsTest, AnUploadIsVerifiedAndItsCopyRemoved) {
  EXPECT_TRUE(Upload("the content"));
  EXPECT_EQ(account_.Content("/Docs/a.txt"), "the content");
  EXPECT_EQ(account_.Count("GET"), 1U);
  EXPECT_FALSE(FileExists(kStaged));
  EXPECT_EQ(GetSyncUsedQuota(), kUsedBytes);
  FileTime time;
  EXPECT_TRUE(GetFileTimeEntry(CacheNames(), u"/Docs/a.txt", &time));
}

TEST_F(OperationsTest, AnUploadReplacesWhatWasThere) {
  account_.AddFile("/Docs/a.txt", "before", kTime);
  EXPECT_TRUE(Upload(""));
  EXPECT_EQ(account_.Content("/Docs/a.txt"), "");
}

TEST_F(OperationsTest, AnEmptyFileIsUploaded) {
  EXPECT_TRUE(Upload(""));
  EXPECT_EQ(account_.Content("/Docs/a.txt"), "");
  EXPECT_EQ(account_.Count("PUT"), 1U);
  EXPECT_FALSE(FileExists(kStaged));
}

TEST_F(OperationsTest, AnUploadSucceedsWhenTheAnswerForTheUsedSpaceHasNoEnd) {
  const ReplyLimit limit(100000);
  ExpectAnUploadWithoutUsedSpace(Reply::Status(207).LongBody(64 << 20).SayNoLength());
}

TEST_F(OperationsTest, AnUploadSucceedsWhenTheAnswerForTheUsedSpaceBreaksOff) {
  ExpectAnUploadWithoutUsedSpace(Reply::Status(207).LongBody(1 << 20).CloseAfter(50000));
}

TEST_F(OperationsTest, AnUploadThatTheServerRefusesKeepsTheCopy) {
  account_.Force("PUT", 409, 100);
  EXPECT_FALSE(Upload("content"));
  EXPECT_EQ(ReadFileBytes(kStaged), "content");
  EXPECT_FALSE(Upload(""));
  EXPECT_EQ(account_.Content("/Docs/a.txt"), std::nullopt);
  EXPECT_EQ(QuotaFile(), "(none)");
}

TEST_F(OperationsTest, ACopyThatIsMissingIsNotUploaded) {
  WriteJournal(u"Upload_dst.txt", u"/Docs/");
  WriteJournal(u"Upload_src.txt", u"F_" + Text(kStaged));
  EXPECT_FALSE(UploadSyncFile(login()));
  EXPECT_EQ(account_.server().request_count(), 0U);
}

TEST_F(OperationsTest, AFolderIsMadeOnceAndCountsAsMadeAfterwards) {
  WriteJournal(u"createdir_dst.txt", u"/new/");
  EXPECT_TRUE(CreateSyncFolder(login()));
  EXPECT_TRUE(account_.Has("/new"));
  EXPECT_TRUE(CreateSyncFolder(login()));
  account_.Force("MKCOL", 409);
  EXPECT_FALSE(CreateSyncFolder(login()));
}

TEST_F(OperationsTest, ARenameMovesAndNeverReplaces) {
  account_.AddFile("/a.txt", "a", kTime);
  account_.AddFile("/b.txt", "b", kTime);
  EXPECT_FALSE(Rename(u"/a.txt", u"/b.txt"));
  EXPECT_EQ(account_.Content("/b.txt"), "b");
  EXPECT_TRUE(Rename(u"/a.txt", u"/c.txt"));
  EXPECT_EQ(account_.Content("/c.txt"), "a");
  EXPECT_FALSE(account_.Has("/a.txt"));
  EXPECT_EQ(account_.server().requests().back().Header("Overwrite"), "F");
}

TEST_F(OperationsTest, AFileAndAFolderAreDeleted) {
  account_.AddFile("/a/b/c.txt", "c", kTime);
  account_.AddFolder("/a/b", kTime);
  account_.AddFile("/a/d.txt", "d", kTime);
  EXPECT_TRUE(Delete(u"F_/a/d.txt"));
  EXPECT_FALSE(account_.Has("/a/d.txt"));
  EXPECT_TRUE(Delete(u"D_/a/b"));
  EXPECT_FALSE(account_.Has("/a/b/c.txt"));
  EXPECT_EQ(GetSyncUsedQuota(), kUsedBytes);
}

TEST_F(OperationsTest, WhatIsNotThereCountsAsDeleted) { EXPECT_TRUE(Delete(u"F_/nothing.txt")); }

TEST_F(OperationsTest, TheAccountsRootIsNeverDeleted) {
  EXPECT_FALSE(Delete(u"D_/"));
  EXPECT_FALSE(Delete(u"D_/a/.."));
  EXPECT_EQ(account_.Count("DELETE"), 0U);
}

TEST_F(OperationsTest, ADeletionThatTheServerRefusesFails) {
  account_.AddFile("/a.txt", "a", kTime);
  account_.Force("DELETE", 403);
  EXPECT_FALSE(Delete(u"F_/a.txt"));
  EXPECT_TRUE(account_.Has("/a.txt"));
}

TEST_F(OperationsTest, WithoutTheirJournalsNothingIsAsked) {
  EXPECT_FALSE(DownloadSyncFile(login()));
  EXPECT_FALSE(UploadSyncFile(login()));
  EXPECT_FALSE(CreateSyncFolder(login()));
  EXPECT_FALSE(RenameSyncEntry(login()));
  EXPECT_FALSE(DeleteSyncEntry(login()));
  EXPECT_EQ(account_.server().request_count(), 0U);
}

}  // namespace
}  // namespace zv::testing
