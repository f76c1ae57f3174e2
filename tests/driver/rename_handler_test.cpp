// Renaming, replacing and saving by renaming, as the driver sees them.
#include <gtest/gtest.h>

#include <algorithm>

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

class SyncRenameTest : public RenameTest {
 protected:
  void SetUp() override {
    StartWorker({.check_freshness = false, .account_type = u"ZVSYNC"});
    WriteListing(u"/", {u"a.tmp?0?7?32?100?200", u"a.txt?0?7?32?100?200"});
  }
};

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
