// Renaming, replacing and saving by renaming, as the driver sees them.
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/file.h"
#include "platform/utility_library.h"
#include "tests/driver/worker_fixture.h"

namespace zv::testing {
namespace {

class RenameTest : public WorkerTest {
 protected:
  // Verbs of all requests, in order.
  std::vector<std::string> Verbs() {
    std::vector<std::string> verbs;
    for (const Request& request : server_.requests()) verbs.push_back(request.verb);
    return verbs;
  }
  bool WasSent(std::string_view verb) { return std::ranges::count(Verbs(), verb) > 0; }
};

TEST_F(RenameTest, MovesWithinTheDrive) {
  StartWorker();
  ServeMemoryAccount();
  account_.Store("/users/user/Files/x/a", "content");
  WriteListing(u"/x", {u"a?0?7?32?100?200"});
  EXPECT_EQ(AskRename(u"\\x\\a", u"\\??\\Y:\\x\\b"), kNamespaceSuccess);
  EXPECT_EQ(account_.Content("/users/user/Files/x/b"), "content");
  EXPECT_EQ(AskQuery(u"\\x\\b").size, 7);
  EXPECT_TRUE(PollLogHas(u"Rename = /x/a to /x/b"));
}

TEST_F(RenameTest, TakesATargetInNetworkForm) {
  StartWorker();
  ServeMemoryAccount();
  home_.SetSetting(kConnectionSubKey, u"UNC Server", u"srv");
  home_.SetSetting(kConnectionSubKey, u"UNC Share", u"share");
  account_.Store("/users/user/Files/a", "content");
  WriteListing(u"/", {u"a?0?7?32?100?200"});
  EXPECT_EQ(AskRename(u"\\a", u"\\??\\UNC\\srv\\share\\x\\y"), kNamespaceSuccess);
  EXPECT_TRUE(PollLogHas(u"Rename = /a to /x/y"));
  EXPECT_EQ(account_.Content("/users/user/Files/x/y"), "content");
}

TEST_F(RenameTest, SaysThatTheTargetExists) {
  StartWorker();
  ServeMemoryAccount();
  account_.Store("/users/user/Files/a", "new");
  account_.Store("/users/user/Files/b", "old");
  WriteListing(u"/", {u"a?0?3?32?100?200", u"b?0?3?32?100?200"});
  EXPECT_EQ(AskRename(u"\\a", u"\\??\\Y:\\b"), kNamespaceTargetExists);
  EXPECT_EQ(account_.Content("/users/user/Files/b"), "old");
  EXPECT_EQ(Verbs(), std::vector<std::string>{"MOVE"});
}

TEST_F(RenameTest, ReplacesTheTargetWhenAsked) {
  StartWorker();
  ServeMemoryAccount();
  account_.Store("/users/user/Files/a", "new");
  account_.Store("/users/user/Files/b", "old");
  WriteListing(u"/", {u"a?0?3?32?100?200", u"b?0?3?32?100?200"});
  EXPECT_EQ(AskRename(u"\\a", u"\\??\\Y:\\b", 61), kNamespaceSuccess);
  EXPECT_EQ(account_.Content("/users/user/Files/b"), "new");
  EXPECT_EQ(Verbs(), (std::vector<std::string>{"MOVE", "DELETE", "MOVE"}));
}

TEST_F(RenameTest, RenamesAgainThoughTheTargetCouldNotBeDeleted) {
  StartWorker();
  WriteListing(u"/", {u"a?0?3?32?100?200", u"b?0?3?32?100?200"});
  for (const int status : {412, 423, 201}) server_.Enqueue(Reply::Status(status));
  EXPECT_EQ(AskRename(u"\\a", u"\\??\\Y:\\b", 61), kNamespaceSuccess);
  EXPECT_EQ(Verbs(), (std::vector<std::string>{"MOVE", "DELETE", "MOVE"}));
}

TEST_F(RenameTest, AnswersWithTheSecondRenamesStatusAfterADeletion) {
  StartWorker();
  WriteListing(u"/", {u"a?0?3?32?100?200", u"b?0?3?32?100?200"});
  for (const int status : {412, 204, 500}) server_.Enqueue(Reply::Status(status));
  EXPECT_EQ(AskRename(u"\\a", u"\\??\\Y:\\b", 61), kNamespaceFailure);
  EXPECT_EQ(Verbs(), (std::vector<std::string>{"MOVE", "DELETE", "MOVE"}));
}

TEST_F(RenameTest, KeepsTheTargetWhenTheRenameFailsForAnotherReason) {
  StartWorker();
  server_.On([](const Request&) { return Reply::Status(500); });
  EXPECT_EQ(AskRename(u"\\a", u"\\??\\Y:\\b", 61), kNamespaceFailure);
  EXPECT_EQ(Verbs(), std::vector<std::string>{"MOVE"});
}

TEST_F(RenameTest, SurvivesATargetThatIsTooShort) {
  StartWorker();
  server_.On([](const Request&) { return Reply::Status(502); });
  EXPECT_EQ(AskRename(u"\\a", u""), kNamespaceFailure);
  EXPECT_EQ(AskRename(u"\\a", u"\\??\\UNC"), kNamespaceFailure);
}

TEST_F(RenameTest, SendsADocumentThatWasSavedByATemporaryFile) {
  StartWorker();
  ServeMemoryAccount();
  account_.Store("/users/user/Files/a%2Etmp", "old");
  WriteListing(u"/", {u"a.tmp?0?5?32?100?200"});
  WriteContent(u"/a.tmp", "saved");
  EXPECT_EQ(AskRename(u"\\a.tmp", u"\\??\\Y:\\a.txt"), kNamespaceSuccess);
  EXPECT_EQ(account_.Content("/users/user/Files/a%2Etxt"), "saved");
  EXPECT_TRUE(WasSent("PUT"));
}

TEST_F(RenameTest, SendsNothingAfterAnyOtherRename) {
  StartWorker();
  ServeMemoryAccount();
  account_.Store("/users/user/Files/a%2Etxt", "content");
  WriteListing(u"/", {u"a.txt?0?7?32?100?200"});
  WriteContent(u"/a.txt", "content");
  EXPECT_EQ(AskRename(u"\\a.txt", u"\\??\\Y:\\b.txt"), kNamespaceSuccess);
  EXPECT_FALSE(WasSent("PUT"));
}

TEST_F(RenameTest, SendsNothingWhenTheSaveFails) {
  StartWorker();
  server_.On([](const Request&) { return Reply::Status(500); });
  WriteContent(u"/a.tmp", "saved");
  EXPECT_EQ(AskRename(u"\\a.tmp", u"\\??\\Y:\\a.txt"), kNamespaceFailure);
  EXPECT_FALSE(WasSent("PUT"));
}

constexpr TextView kSyncFolder = u"C:\\Stratel Drive";
constexpr TextView kRenameJournal = u"C:\\Stratel Drive\\Rename_src.txt";
constexpr TextView kUploadJournal = u"C:\\Stratel Drive\\Upload_src.txt";

// A utility library that does whatever it is asked for.
int32_t Agree(const char16_t*, const char16_t*, const char16_t*, const char16_t*, const char16_t*,
              const char16_t*, const char16_t*) {
  return 1;
}
constexpr UtilityLibrary kAgreeing = {.upload = Agree, .rename = Agree};
constexpr UtilityLibrary kNoEntries = {};

class SyncRenameTest : public RenameTest {
 protected:
  ~SyncRenameTest() override {
    StopWorker();
    SetUtilityLibrary(nullptr);
  }
  void SetUp() override {
    SetUtilityLibrary(&kAgreeing);
    MakeFolders(kSyncFolder);
    StartWorker({.check_freshness = false, .account_type = u"ZVSYNC"});
    WriteListing(u"/", {u"a.tmp?0?7?32?100?200", u"a.txt?0?7?32?100?200"});
  }
  // A rename to "b.txt" that this program asks for.
  StatusWord AskRenameBy(TextView process, TextView source) {
    RequestRecord request = MakeRequest(MajorCode::kRename, source);
    request.SetSecondPath(u"\\??\\Y:\\b.txt");
    request.SetProcessName(process);
    return ReplyAs<StatusWord>(AskInfo(request));
  }
};

TEST_F(SyncRenameTest, IsHandedOverForTheShell) {
  EXPECT_EQ(AskRenameBy(u"Explorer.exe", u"\\a.txt"), kNamespaceSuccess);
  EXPECT_TRUE(FileExists(kRenameJournal));
}

TEST_F(SyncRenameTest, IsHandedOverForNoOtherProgram) {
  EXPECT_EQ(AskRenameBy(u"notepad.exe", u"\\a.txt"), kNamespaceSuccess);
  EXPECT_FALSE(FileExists(kRenameJournal));
}

TEST_F(SyncRenameTest, HandsASavedDocumentOver) {
  WriteContent(u"/a.tmp", "saved");
  EXPECT_EQ(AskRenameBy(u"winword.exe", u"\\a.tmp"), kNamespaceSuccess);
  EXPECT_TRUE(FileExists(kUploadJournal));
}

TEST_F(SyncRenameTest, HandsADocumentOverThatTheShellSaved) {
  WriteContent(u"/a.tmp", "saved");
  EXPECT_EQ(AskRenameBy(u"explorer.exe", u"\\a.tmp"), kNamespaceSuccess);
  EXPECT_TRUE(FileExists(kUploadJournal));
}

TEST_F(SyncRenameTest, LooksForTheShellViewAfterASaveThatFailedToo) {
  SetUtilityLibrary(&kNoEntries);
  EXPECT_EQ(AskRenameBy(u"explorer.exe", u"\\a.tmp"), kNamespaceFailure);
  StopWorker();
  EXPECT_TRUE(
      PollLogHas(u"Trying to send message to shellview to refresh view. Stratel Drive (Y:)"));
}

TEST_F(SyncRenameTest, LooksForTheShellViewAfterASave) {
  AskRename(u"\\a.tmp", u"\\??\\Y:\\b.txt");
  StopWorker();
  EXPECT_TRUE(
      PollLogHas(u"Trying to send message to shellview to refresh view. Stratel Drive (Y:)"));
  EXPECT_TRUE(PollLogHas(u"Could not find parent window Stratel Drive (Y:)"));
}

TEST_F(SyncRenameTest, LeavesTheShellViewAloneAfterAnyOtherRename) {
  AskRename(u"\\a.txt", u"\\??\\Y:\\b.txt");
  StopWorker();
  EXPECT_FALSE(
      PollLogHas(u"Trying to send message to shellview to refresh view. Stratel Drive (Y:)"));
}

}  // namespace
}  // namespace zv::testing
