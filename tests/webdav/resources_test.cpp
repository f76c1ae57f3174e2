// Making, deleting and renaming on the server.
#include "tests/webdav/account_fixture.h"

namespace zv::testing {
namespace {

using ::testing::ElementsAre;

class ResourcesTest : public AccountTest {
 protected:
  CWebDAV client_;
};

// --- MKCOL

TEST_F(ResourcesTest, MakesAFolderAndSaysSo) {
  server_.Enqueue(Reply::Status(201));
  EXPECT_TRUE(client_.CreateDirectoryOnServer(u"\\New folder"));
  EXPECT_THAT(server_.lines(), ElementsAre("MKCOL /users/anna/Files/New%20folder"));
  EXPECT_EQ(server_.requests().at(0).Header("Authorization"), "Basic YW5uYTpzZWNyZXQ=");
  EXPECT_TRUE(UserLogHasAt(u"Information", u"A directory has been created for \\New folder."));
}

TEST_F(ResourcesTest, AFolderThatIsThereAlreadyCountsAsMade) {
  server_.Enqueue(Reply::Status(405));
  EXPECT_TRUE(client_.CreateDirectoryOnServer(u"/Docs"));
  EXPECT_TRUE(UserLogHasAt(u"Information", u"A directory has been created for /Docs."));
}

TEST_F(ResourcesTest, AFolderThatIsRefusedIsAnErrorWithItsStatus) {
  server_.Enqueue(Reply::Status(409, "Conflict"));
  EXPECT_FALSE(client_.CreateDirectoryOnServer(u"/a/b"));
  EXPECT_TRUE(UserLogHasAt(u"Error", u"Unable to create directory /a/b. Reason: Conflict (409)"));
  EXPECT_TRUE(TraceHas(u"Error calling MKCOL on /a/b. Reason: Conflict"));
}

TEST_F(ResourcesTest, AFolderThatCannotBeAskedForIsAnErrorWithoutAStatus) {
  server_.Enqueue(Reply::Drop());
  server_.On([](const Request&) { return Reply::Drop(); });
  EXPECT_FALSE(client_.CreateDirectoryOnServer(u"/a"));
  EXPECT_EQ(CountInUserLog(u"Unable to create directory /a. Reason: "), 1U);
  EXPECT_EQ(CountInUserLog(u"(0)"), 0U);
  EXPECT_EQ(CountInTrace(u"Error calling MKCOL on /a."), 0U);
}

// --- DELETE

TEST_F(ResourcesTest, TheRootIsNeverDeleted) {
  for (const TextView path : {u"", u"/", u"\\", u"//"}) {
    EXPECT_FALSE(client_.DeleteResource(path));
    EXPECT_FALSE(client_.DeleteServerFile(path));
  }
  EXPECT_EQ(server_.request_count(), 0U);
  EXPECT_EQ(CountInTrace(u"We cannot delete root\r\n"), 4U);
  EXPECT_TRUE(home_.LogText(u"UserLog.txt").empty());
}

TEST_F(ResourcesTest, TheRootIsNotDeletedByADetourEither) {
  for (const TextView path :
       {u"/.", u"/..", u"/a/..", u"\\a\\.\\..\\", u"/../other", u"/a/../../b/c"}) {
    EXPECT_FALSE(client_.DeleteResource(path));
    EXPECT_FALSE(client_.DeleteServerFile(path));
  }
  EXPECT_EQ(server_.request_count(), 0U);
  EXPECT_EQ(CountInTrace(u"We cannot delete root\r\n"), 6U);
}

TEST_F(ResourcesTest, NamesThatBeginWithDotsAreDeleted) {
  server_.On([](const Request&) { return Reply::Status(204); });
  EXPECT_TRUE(client_.DeleteResource(u"/.profile"));
  EXPECT_TRUE(client_.DeleteResource(u"/..."));
  EXPECT_EQ(server_.request_count(), 2U);
}

TEST_F(ResourcesTest, DeletesAndSaysSo) {
  server_.Enqueue(Reply::Status(204));
  EXPECT_TRUE(client_.DeleteResource(u"/Docs/a b.txt"));
  EXPECT_THAT(server_.lines(), ElementsAre("DELETE /users/anna/Files/Docs/a%20b%2Etxt"));
  EXPECT_TRUE(UserLogHasAt(u"Information", u"/Docs/a b.txt has been deleted."));
}

TEST_F(ResourcesTest, ADeleteThatFailsOnceOnTheServerIsSentAgain) {
  server_.Enqueue(Reply::Status(500));
  server_.Enqueue(Reply::Status(204));
  EXPECT_TRUE(client_.DeleteResource(u"/a"));
  EXPECT_THAT(server_.lines(),
              ElementsAre("DELETE /users/anna/Files/a", "DELETE /users/anna/Files/a"));
  EXPECT_TRUE(UserLogHasAt(u"Information", u"/a has been deleted."));
}

TEST_F(ResourcesTest, ADeleteThatFailsTwiceOnTheServerIsTrueAndSilent) {
  server_.Enqueue(Reply::Status(500));
  server_.Enqueue(Reply::Status(500));
  EXPECT_TRUE(client_.DeleteResource(u"/a"));
  EXPECT_EQ(server_.request_count(), 2U);
  EXPECT_TRUE(home_.LogText(u"UserLog.txt").empty());
  EXPECT_EQ(CountInTrace(u"Error deleting resource"), 0U);
}

TEST_F(ResourcesTest, ADeleteThatIsRefusedAtTheSecondAttemptIsAnError) {
  server_.Enqueue(Reply::Status(500));
  server_.Enqueue(Reply::Status(404, "Not Found"));
  EXPECT_FALSE(client_.DeleteResource(u"/a"));
  EXPECT_EQ(server_.request_count(), 2U);
  EXPECT_TRUE(UserLogHasAt(u"Error", u"Unable to delete resource /a. Reason: Not Found (404)"));
  EXPECT_TRUE(TraceHas(u"Error deleting resource /a. Reason: Not Found"));
}

TEST_F(ResourcesTest, ADeleteThatCannotBeSentIsReportedTwiceWithStatus0) {
  server_.On([](const Request&) { return Reply::Drop(); });
  EXPECT_FALSE(client_.DeleteResource(u"/a"));
  EXPECT_TRUE(TraceHas(u"Error calling SendDAVRequest for DELETE."));
  const Text log = home_.LogText(u"UserLog.txt");
  EXPECT_EQ(CountInUserLog(u"Unable to delete resource /a. Reason: "), 2U);
  EXPECT_TRUE(log.ends_with(u" (0)\r\n"));
  EXPECT_EQ(CountInTrace(u"Error deleting resource /a. Reason: "), 1U);
}

TEST_F(ResourcesTest, ASecondDeleteThatCannotBeSentHasStatus0NotTheFirstOnes) {
  server_.Enqueue(Reply::Status(500));
  server_.On([](const Request&) { return Reply::Drop(); });
  EXPECT_FALSE(client_.DeleteResource(u"/a"));
  EXPECT_TRUE(home_.LogText(u"UserLog.txt").ends_with(u" (0)\r\n"));
}

struct ServerFileReplies {
  std::vector<int> statuses;
  bool deleted;
};

class DeleteServerFileTest : public AccountTest,
                             public ::testing::WithParamInterface<ServerFileReplies> {};

TEST_P(DeleteServerFileTest, FollowsTheSameStepsAndSaysNothing) {
  for (const int status : GetParam().statuses) server_.Enqueue(Reply::Status(status));
  CWebDAV client;
  EXPECT_EQ(client.DeleteServerFile(u"/list.txt"), GetParam().deleted);
  EXPECT_EQ(server_.request_count(), GetParam().statuses.size());
  EXPECT_TRUE(home_.LogText(u"UserLog.txt").empty());
}

INSTANTIATE_TEST_SUITE_P(Replies, DeleteServerFileTest,
                         ::testing::Values(ServerFileReplies{{204}, true},
                                           ServerFileReplies{{500, 204}, true},
                                           ServerFileReplies{{500, 500}, true},
                                           ServerFileReplies{{500, 404}, false},
                                           ServerFileReplies{{404}, false}));

TEST_F(ResourcesTest, AServerFileIsNotDeletedWhenItCannotBeSent) {
  server_.On([](const Request&) { return Reply::Drop(); });
  EXPECT_FALSE(client_.DeleteServerFile(u"/list.txt"));
  EXPECT_TRUE(home_.LogText(u"UserLog.txt").empty());
}

// --- MOVE

TEST_F(ResourcesTest, RenamesToAnEncodedDestinationWithoutOverwriting) {
  server_.Enqueue(Reply::Status(201));
  EXPECT_TRUE(client_.RenameResource(u"/Docs/old.txt", u"\\Docs\\n\u00e9w.txt"));
  const Request request = server_.requests().at(0);
  EXPECT_EQ(request.verb + " " + request.target, "MOVE /users/anna/Files/Docs/old%2Etxt");
  EXPECT_EQ(request.Header("Overwrite"), "F");
  EXPECT_EQ(request.Header("Destination"),
            "http://" + server_.address() + "/users/anna/Files/Docs/n%C3%A9w%2Etxt");
  EXPECT_EQ(request.Header("Authorization"), "Basic YW5uYTpzZWNyZXQ=");
  EXPECT_TRUE(
      UserLogHasAt(u"Information", u"The /Docs/old.txt has been renamed to /Docs/n\u00e9w.txt."));
}

TEST_F(ResourcesTest, ARenameAnswered204IsDone) {
  server_.Enqueue(Reply::Status(204));
  EXPECT_TRUE(client_.RenameResource(u"/a", u"/b"));
}

TEST_F(ResourcesTest, ASecondRenameCarriesItsOwnDestinationOnly) {
  server_.On([](const Request&) { return Reply::Status(201); });
  EXPECT_TRUE(client_.RenameResource(u"/a", u"/b"));
  EXPECT_TRUE(client_.RenameResource(u"/b", u"/c"));
  const Request second = server_.requests().at(1);
  EXPECT_EQ(second.CountHeaders("Destination"), 1U);
  EXPECT_EQ(second.Header("Destination"), "http://" + server_.address() + "/users/anna/Files/c");
}

TEST_F(ResourcesTest, ARenameOntoAnExistingNameIsLeftToTheCallerToReport) {
  server_.Enqueue(Reply::Status(412, "Precondition Failed"));
  EXPECT_FALSE(client_.RenameResource(u"/a", u"/b"));
  EXPECT_EQ(client_.status_code(), 412U);
  EXPECT_TRUE(home_.LogText(u"UserLog.txt").empty());
  EXPECT_TRUE(TraceHas(u"Error renaming resource /a to /b. Reason: Precondition Failed"));
}

TEST_F(ResourcesTest, ARenameThatIsRefusedIsAnErrorWithItsStatus) {
  server_.Enqueue(Reply::Status(404, "Not Found"));
  EXPECT_FALSE(client_.RenameResource(u"/a", u"/b"));
  EXPECT_TRUE(UserLogHasAt(u"Error", u"Unable to rename resource /a. Reason: Not Found (404)"));
  EXPECT_TRUE(TraceHas(u"Error renaming resource /a to /b. Reason: Not Found"));
}

TEST_F(ResourcesTest, ARenameThatCannotBeSentIsAnErrorWithoutAStatus) {
  server_.On([](const Request&) { return Reply::Drop(); });
  EXPECT_FALSE(client_.RenameResource(u"/a", u"/b"));
  EXPECT_TRUE(TraceHas(u"Error calling SendDAVRequest for MOVE"));
  EXPECT_EQ(CountInUserLog(u"Unable to rename resource /a. Reason: "), 1U);
  EXPECT_EQ(CountInUserLog(u"(0)"), 0U);
  EXPECT_NE(client_.status_code(), 412U);
}

TEST_F(ResourcesTest, ASyncAccountsDestinationIsSecure) {
  SetAccount({.account_type = u"ZVSYNC"});
  server_.Enqueue(Reply::Status(201));
  CWebDAV client;
  EXPECT_TRUE(client.RenameResource(u"/a", u"/b"));
  EXPECT_EQ(server_.requests().at(0).Header("Destination"),
            "https://" + server_.address() + "/users/anna/Files/b");
}

class MoveClient : public CWebDAV {
 public:
  using CWebDAV::DestinationHeaders;
};

struct Destination {
  AccountOptions account;
  TextView scheme;
};

class DestinationTest : public HomeTest, public ::testing::WithParamInterface<Destination> {};

// Neither the SSL setting nor where the request really goes counts.
TEST_P(DestinationTest, FollowsTheAccountTypeAndTheRelay) {
  home_.SetAccount(u"host.example", u"anna", u"secret", GetParam().account);
  MoveClient client;
  EXPECT_EQ(client.DestinationHeaders(u"/a b"), u"Overwrite:F\nDestination:" +
                                                    Text(GetParam().scheme) +
                                                    u"://host.example/users/anna/Files/a%20b\n");
}

INSTANTIATE_TEST_SUITE_P(
    Accounts, DestinationTest,
    ::testing::Values(Destination{{}, u"http"}, Destination{{.ssl = true}, u"http"},
                      Destination{{.compression = true}, u"https"},
                      Destination{{.ssl = true, .compression = true}, u"https"},
                      Destination{{.account_type = u"ZVSYNC"}, u"https"}));

}  // namespace
}  // namespace zv::testing
