// Listing, looking up, sizes, making and deleting, as the driver sees them.
#include <gtest/gtest.h>

#include "platform/file.h"
#include "platform/utility_library.h"
#include "tests/driver/worker_fixture.h"

namespace zv::testing {
namespace {

constexpr std::string_view kFiles = "/users/user/Files";

class NamespaceTest : public WorkerTest {
 protected:
  void ExpectAbsent(const DirectoryEntry& entry) {
    EXPECT_EQ(entry.directory_flag, kNoSuchEntry);
    EXPECT_EQ(entry.last_entry, 1u);
  }
};

TEST_F(NamespaceTest, AnswersEachEntryOfAListingWithItsIndex) {
  StartWorker();
  WriteListing(u"/Docs", {u"a.txt?0?5000000000?32?100?200", u"Sub?1?0?0?300?400"});
  const DirectoryEntry file = AskDirectory(u"\\Docs\\", 1);
  EXPECT_EQ(file.directory_flag, 0u);
  EXPECT_EQ(file.name_length, 5u);
  EXPECT_EQ(file.attributes, 32u);
  EXPECT_EQ(file.kind, 1u);
  EXPECT_EQ(file.size, 5000000000);
  EXPECT_EQ(file.last_entry, 0u);
  EXPECT_EQ(file.creation_time, 100);
  EXPECT_EQ(file.last_access_time, 200);
  EXPECT_EQ(file.last_write_time, 200);
  EXPECT_EQ(file.change_time, 200);
  EXPECT_EQ(file.Name(), u"a.txt");
  const DirectoryEntry folder = AskDirectory(u"\\Docs\\", 2);
  EXPECT_EQ(folder.directory_flag, 1u);
  EXPECT_EQ(folder.kind, 2u);
  EXPECT_EQ(folder.last_entry, 0u);
  EXPECT_EQ(folder.Name(), u"Sub");
  EXPECT_TRUE(PollLogHas(u"Dir req of 2 with resource = \\Docs\\"));
  EXPECT_EQ(CountPollLines(u"no more file value : 0"), 2u);
}

TEST_F(NamespaceTest, EndsAListingPastItsLastEntry) {
  StartWorker();
  WriteListing(u"/Docs", {u"a.txt?0?5?32?100?200"});
  AskDirectory(u"\\Docs\\", 1);
  const DirectoryEntry end = AskDirectory(u"\\Docs\\", 2);
  ExpectAbsent(end);
  EXPECT_EQ(end.kind, 2u);
  EXPECT_TRUE(PollLogHas(u"no more file value : 1"));
}

TEST_F(NamespaceTest, RefusesAnIndexBelowOne) {
  StartWorker();
  WriteListing(u"/Docs", {u"a.txt?0?5?32?100?200"});
  ExpectAbsent(AskDirectory(u"\\Docs\\", 0));
  ExpectAbsent(AskDirectory(u"\\Docs\\", 0xFFFFFFFF));
}

TEST_F(NamespaceTest, FindsNothingInAnEmptyFolder) {
  StartWorker();
  WriteListing(u"/Empty", {});
  ExpectAbsent(AskDirectory(u"\\Empty\\", 1));
}

TEST_F(NamespaceTest, TakesAnEmptyPathForTheRoot) {
  StartWorker();
  WriteListing(u"/", {u"top.txt?0?5?32?100?200"});
  EXPECT_EQ(AskDirectory(u"", 1).Name(), u"top.txt");
  EXPECT_EQ(AskDirectory(u"\\", 1).Name(), u"top.txt");
}

TEST_F(NamespaceTest, CutsANameAtItsField) {
  StartWorker();
  for (const size_t length : {259, 260, 300}) {
    WriteListing(u"/Docs", {Text(length, u'n') + u"?0?5?32?100?200"});
    const DirectoryEntry entry = AskDirectory(u"\\Docs\\", 1);
    EXPECT_EQ(entry.Name(), Text(259, u'n')) << length;
    EXPECT_EQ(entry.name[259], u'\0') << length;
  }
}

TEST_F(NamespaceTest, FetchesAFolderThatWasNeverListed) {
  StartWorker();
  server_.On([](const Request&) {
    return FolderReply("/Docs/", {"/Docs/a%20b.txt", "/Docs/Sub/"});
  });
  EXPECT_EQ(AskDirectory(u"\\Docs\\", 1).Name(), u".");
  EXPECT_EQ(AskDirectory(u"\\Docs\\", 2).Name(), u"..");
  EXPECT_EQ(AskDirectory(u"\\Docs\\", 3).Name(), u"a b.txt");
  EXPECT_EQ(AskDirectory(u"\\Docs\\", 4).Name(), u"Sub");
  ExpectAbsent(AskDirectory(u"\\Docs\\", 5));
}

TEST_F(NamespaceTest, AsksTheServerOnceForEveryWalk) {
  StartWorker({.check_freshness = true});
  server_.On([](const Request& request) {
    if (request.Header("Depth") == "0") return FolderReply("/Docs/", {});
    return FolderReply("/Docs/", {"/Docs/a", "/Docs/b"});
  });
  const auto walk = [&] {
    for (uint32_t index = 1; AskDirectory(u"\\Docs\\", index).last_entry == 0;) ++index;
  };
  walk();
  for (int again = 0; again < 2; ++again) {
    server_.ClearRequests();
    walk();
    ASSERT_EQ(server_.request_count(), 1u);
    EXPECT_EQ(server_.requests()[0].Header("Depth"), "0");
  }
}

TEST_F(NamespaceTest, FindsNothingWhenTheServerFails) {
  StartWorker();
  server_.On([](const Request&) { return Reply::Status(500); });
  ExpectAbsent(AskDirectory(u"\\Docs\\", 1));
}

TEST_F(NamespaceTest, AnswersAQueryForTheRootWithoutAsking) {
  StartWorker();
  for (const TextView root : {u"\\", u""}) {
    const DirectoryEntry entry = AskQuery(root);
    EXPECT_EQ(entry.directory_flag, 1u);
    EXPECT_EQ(entry.name_length, 0u);
    EXPECT_EQ(entry.attributes, 0u);
    EXPECT_EQ(entry.kind, 0u);
    EXPECT_EQ(entry.size, 0);
    EXPECT_EQ(entry.last_entry, 1u);
    EXPECT_EQ(entry.creation_time, 0);
    EXPECT_EQ(entry.last_access_time, 0);
    EXPECT_EQ(entry.last_write_time, 0);
    EXPECT_EQ(entry.change_time, 0);
  }
  EXPECT_EQ(server_.request_count(), 0u);
  EXPECT_EQ(CountPollLines(u"file folder value is 1"), 2u);
}

TEST_F(NamespaceTest, AnswersAQueryWithTheWholePath) {
  StartWorker();
  WriteListing(u"/Docs", {u"a.txt?0?5?32?100?200"});
  const DirectoryEntry entry = AskQuery(u"\\Docs\\a.txt");
  EXPECT_EQ(entry.directory_flag, 0u);
  EXPECT_EQ(entry.name_length, 11u);
  EXPECT_EQ(entry.attributes, 32u);
  EXPECT_EQ(entry.kind, kSingleEntryKind);
  EXPECT_EQ(entry.size, 5);
  EXPECT_EQ(entry.last_entry, 1u);
  EXPECT_EQ(entry.creation_time, 100);
  EXPECT_EQ(entry.last_write_time, 200);
  EXPECT_EQ(entry.Name(), u"\\Docs\\a.txt");
  EXPECT_TRUE(PollLogHas(u"QueryInfo of = \\Docs\\a.txt"));
  EXPECT_TRUE(PollLogHas(u"file folder value is 0"));
}

TEST_F(NamespaceTest, JoinsFolderAndNameOfAQuery) {
  StartWorker();
  WriteListing(u"/Docs", {u"a.txt?0?5?32?100?200"});
  EXPECT_EQ(AskQuery(u"\\Docs", u"a.txt").directory_flag, 0u);
  EXPECT_TRUE(PollLogHas(u"QueryInfo of = \\Docsa.txt"));
  EXPECT_EQ(CountPollLines(u"After converting the values \\Docs\\a.txt"), 1u);
  EXPECT_EQ(AskQuery(u"\\Docs\\", u"a.txt").directory_flag, 0u);
  EXPECT_EQ(CountPollLines(u"After converting the values \\Docs\\a.txt"), 1u);
}

TEST_F(NamespaceTest, TakesAQueryWithoutAFolderForTheRoot) {
  StartWorker();
  WriteListing(u"/", {u"a.txt?0?5?32?100?200"});
  const DirectoryEntry entry = AskQuery(u"", u"a.txt");
  EXPECT_EQ(entry.directory_flag, 1u);
  EXPECT_EQ(entry.name_length, 0u);
  EXPECT_EQ(entry.size, 0);
}

TEST_F(NamespaceTest, AnswersAQueryForWhatIsAbsent) {
  StartWorker();
  WriteListing(u"/Docs", {u"a.txt?0?5?32?100?200"});
  ExpectAbsent(AskQuery(u"\\Docs\\b.txt"));
  EXPECT_TRUE(PollLogHas(u"file folder value is -1"));
}

TEST_F(NamespaceTest, SurvivesPathsWithoutATerminator) {
  StartWorker();
  RequestRecord request = MakeRequest(MajorCode::kQueryInfo, u"");
  std::fill_n(request.path, 260, u'p');
  std::fill_n(request.second_path, 260, u's');
  std::fill_n(request.process_name, 16, u'e');
  ExpectAbsent(ReplyAs<DirectoryEntry>(AskInfo(request)));
  EXPECT_TRUE(PollLogHas(Text(u"QueryInfo of = ") + Text(260, u'p') + Text(260, u's')));
}

TEST_F(NamespaceTest, GivesTheVolumeInMebibytes) {
  StartWorker();
  home_.SetSetting(kConnectionSubKey, u"Quota", u"5242881");
  home_.SetSetting(kConnectionSubKey, u"OLdUsedQuota", u"3145727");
  const SubmitResult result = AskInfo(MakeRequest(MajorCode::kVolumeInfo, u""));
  EXPECT_EQ(result.reply.code, IOCTL_VOLUME_REPLY);
  const auto reply = ReplyAs<VolumeReply>(result);
  EXPECT_EQ(reply.status, kNamespaceSuccess);
  EXPECT_EQ(reply.quota_mib, 5);
  EXPECT_EQ(reply.used_mib, 2);
  EXPECT_TRUE(PollLogHas(u"VolumeInfo call"));
}

TEST_F(NamespaceTest, RoundsTheVolumeTowardZero) {
  StartWorker();
  home_.SetSetting(kConnectionSubKey, u"Quota", u"-1048577");
  home_.SetSetting(kConnectionSubKey, u"OLdUsedQuota", u"-1");
  const auto reply = ReplyAs<VolumeReply>(AskInfo(MakeRequest(MajorCode::kVolumeInfo, u"")));
  EXPECT_EQ(reply.quota_mib, -1);
  EXPECT_EQ(reply.used_mib, 0);
}

TEST_F(NamespaceTest, TakesASyncAccountsUsedSpaceFromItsQuotaFile) {
  StartWorker({.check_freshness = false, .account_type = u"ZVSYNC"});
  home_.SetSetting(kConnectionSubKey, u"OLdUsedQuota", u"1048576");
  WriteFileBytes(u"C:\\Stratel Drive\\ZVCOMMON\\quota.ini",
                 "[ZVSYNC]\r\nZVSyncUsedQuota=7340032\r\n");
  const auto reply = ReplyAs<VolumeReply>(AskInfo(MakeRequest(MajorCode::kVolumeInfo, u"")));
  EXPECT_EQ(reply.status, kNamespaceSuccess);
  EXPECT_EQ(reply.used_mib, 7);
  EXPECT_EQ(server_.request_count(), 0u);
}

TEST_F(NamespaceTest, MakesAFolder) {
  StartWorker();
  ServeMemoryAccount();
  const SubmitResult result = AskTransfer(MakeBackup(MinorCode::kCreateDirectory, u"\\Docs\\new"));
  EXPECT_EQ(result.reply.code, IOCTL_TRANSFER_STATUS_REPLY);
  EXPECT_EQ(ReplyAs<StatusWord>(result), kNamespaceSuccess);
  EXPECT_EQ(server_.lines(), std::vector{"MKCOL " + std::string(kFiles) + "/Docs/new"});
  EXPECT_TRUE(PollLogHas(u"MKCOL of = \\Docs\\new"));
  EXPECT_EQ(AskQuery(u"\\Docs\\new").directory_flag, 1u);
}

TEST_F(NamespaceTest, SaysThatAFolderCouldNotBeMade) {
  StartWorker();
  server_.On([](const Request&) { return Reply::Status(403); });
  const SubmitResult result = AskTransfer(MakeBackup(MinorCode::kCreateDirectory, u"\\new"));
  EXPECT_EQ(ReplyAs<StatusWord>(result), kNamespaceFailure);
}

TEST_F(NamespaceTest, DeletesUnderALeadingSlash) {
  StartWorker();
  server_.On([](const Request&) { return Reply::Status(204); });
  for (const TextView path : {u"\\a", u"/a", u"a"}) {
    const SubmitResult result = AskInfo(MakeRequest(MajorCode::kDelete, path));
    EXPECT_EQ(result.reply.code, IOCTL_NAMESPACE_REPLY);
    EXPECT_EQ(ReplyAs<StatusWord>(result), kNamespaceSuccess);
  }
  size_t deletes = 0;
  for (const std::string& line : server_.lines()) {
    if (line == "DELETE /users/user/Files/a") ++deletes;
  }
  EXPECT_EQ(deletes, 3u);
  EXPECT_TRUE(PollLogHas(u"Delete = \\a"));
}

TEST_F(NamespaceTest, SaysThatADeletionFailed) {
  StartWorker();
  WriteListing(u"/", {u"a?0?5?32?100?200"});
  server_.On([](const Request&) { return Reply::Status(423); });
  EXPECT_EQ(ReplyAs<StatusWord>(AskInfo(MakeRequest(MajorCode::kDelete, u"\\a"))),
            kNamespaceFailure);
  EXPECT_EQ(AskQuery(u"\\a").directory_flag, 0u);
}

TEST_F(NamespaceTest, HandsASyncAccountsDeletionsOverForTheShellOnly) {
  constexpr TextView kDeleteJournal = u"C:\\Stratel Drive\\Delete_src.txt";
  constexpr UtilityLibrary kNoEntries = {};
  SetUtilityLibrary(&kNoEntries);
  MakeFolders(u"C:\\Stratel Drive");
  StartWorker({.check_freshness = false, .account_type = u"ZVSYNC"});
  RequestRecord request = MakeRequest(MajorCode::kDelete, u"\\a.txt");
  request.SetProcessName(u"notepad.exe");
  EXPECT_EQ(ReplyAs<StatusWord>(AskInfo(request)), kNamespaceSuccess);
  EXPECT_FALSE(FileExists(kDeleteJournal));
  request.SetProcessName(u"explorer.exe");
  EXPECT_EQ(ReplyAs<StatusWord>(AskInfo(request)), kNamespaceFailure);
  EXPECT_TRUE(FileExists(kDeleteJournal));
  StopWorker();
  SetUtilityLibrary(nullptr);
}

TEST_F(NamespaceTest, NeverDeletesTheRoot) {
  StartWorker();
  for (const TextView root : {u"\\", u""}) {
    EXPECT_EQ(ReplyAs<StatusWord>(AskInfo(MakeRequest(MajorCode::kDelete, root))),
              kNamespaceFailure);
  }
  EXPECT_EQ(server_.request_count(), 0u);
}

}  // namespace
}  // namespace zv::testing
