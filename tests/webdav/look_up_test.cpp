// Looking one file or folder up on the server.
#include "tests/webdav/account_fixture.h"

namespace zv::testing {
namespace {

using ::testing::ElementsAre;

// Sun, 06 Nov 1994 08:49:37 GMT
constexpr FileTime kModified{.value = 124'285'853'770'000'000};
constexpr const char* kModifiedText = "Sun, 06 Nov 1994 08:49:37 GMT";
constexpr TextView kUnchangedLength = u"unchanged";

class LookUpTest : public AccountTest {
 protected:
  CWebDAV client_;
  Text length_{kUnchangedLength};
  FileTime time_;
};

// --- GetFileLength

TEST_F(LookUpTest, TellsAFilesLengthAndTime) {
  server_.Enqueue(
      Reply::Status(200).Header("Last-Modified", kModifiedText).Body(PatternBytes(0, 1234)));
  EXPECT_TRUE(client_.GetFileLength(u"\\Docs\\a.txt", &length_, &time_));
  EXPECT_THAT(server_.lines(), ElementsAre("GET /users/anna/Files/Docs/a%2Etxt"));
  EXPECT_EQ(length_, u"1234");
  EXPECT_EQ(time_, kModified);
}

TEST_F(LookUpTest, ALengthOfMoreThan32BitsComesWhole) {
  server_.Enqueue(Reply::Status(200).LongBody(uint64_t{5} << 30).StallAfter(0));
  EXPECT_TRUE(client_.GetFileLength(u"/a", &length_, &time_));
  EXPECT_EQ(length_, u"5368709120");
}

TEST_F(LookUpTest, AReplyWithoutLengthOrTimeGivesNone) {
  server_.Enqueue(Reply::Status(200).Body("abc").SayNoLength());
  time_ = kModified;
  EXPECT_TRUE(client_.GetFileLength(u"/a", &length_, &time_));
  EXPECT_EQ(length_, u"");
  EXPECT_EQ(time_, FileTime{});
}

TEST_F(LookUpTest, AFileThatIsRefusedIsAnErrorWithItsStatus) {
  server_.Enqueue(Reply::Status(404, "Not Found"));
  EXPECT_FALSE(client_.GetFileLength(u"\\a", &length_, &time_));
  EXPECT_TRUE(UserLogHasAt(u"Error", u"Unable to get file length of /a. Reason: Not Found (404)"));
  EXPECT_TRUE(TraceHas(u"Error getting file length of /a. Reason: Not Found"));
  EXPECT_EQ(length_, kUnchangedLength);
}

TEST_F(LookUpTest, AFileThatCannotBeAskedForIsAnErrorWithoutAStatus) {
  server_.On([](const Request&) { return Reply::Drop(); });
  EXPECT_FALSE(client_.GetFileLength(u"/a", &length_, &time_));
  EXPECT_TRUE(TraceHas(u"Error calling SendDAVRequest for GET"));
  EXPECT_EQ(CountInUserLog(u"Unable to get file length of /a. Reason: "), 1U);
  EXPECT_EQ(CountInUserLog(u"(0)"), 0U);
}

// Whoever waited for all of it would wait until the time-out and report that.
TEST_F(LookUpTest, TheBodyIsNotFetched) {
  server_.Enqueue(Reply::Status(200).LongBody(uint64_t{1} << 40).StallAfter(100000));
  server_.Enqueue(Reply::Status(200).LongBody(uint64_t{1} << 40).StallAfter(100000));
  EXPECT_TRUE(client_.GetFileLength(u"/a", &length_, &time_));
  EXPECT_TRUE(client_.IsFileOnServer(u"/a", &length_));
  EXPECT_EQ(length_, u"1099511627776");
  server_.Enqueue(Reply::Status(204));
  EXPECT_TRUE(client_.DeleteResource(u"/a"));
}

// --- IsFileOnServer

TEST_F(LookUpTest, AFileThatIsThereTellsItsLength) {
  server_.Enqueue(Reply::Status(200).Body("12345"));
  EXPECT_TRUE(client_.IsFileOnServer(u"/Docs/list.txt", &length_));
  EXPECT_THAT(server_.lines(), ElementsAre("GET /users/anna/Files/Docs/list%2Etxt"));
  EXPECT_EQ(length_, u"5");
}

TEST_F(LookUpTest, AFileThatIsMissingIsNoError) {
  server_.Enqueue(Reply::Status(404));
  EXPECT_FALSE(client_.IsFileOnServer(u"/a", &length_));
  server_.On([](const Request&) { return Reply::Drop(); });
  EXPECT_FALSE(client_.IsFileOnServer(u"/a", &length_));
  EXPECT_EQ(length_, kUnchangedLength);
  EXPECT_TRUE(home_.LogText(u"UserLog.txt").empty());
}

// --- HEAD

TEST_F(LookUpTest, HeadTellsTimeAndLength) {
  int64_t length = -5;
  server_.Enqueue(
      Reply::Status(200).Header("Last-Modified", kModifiedText).LongBody(uint64_t{3} << 31));
  EXPECT_EQ(client_.GetLastModifiedTime(u"/a.txt", &length, &time_), 1U);
  EXPECT_THAT(server_.lines(), ElementsAre("HEAD /users/anna/Files/a%2Etxt"));
  EXPECT_EQ(length, int64_t{3} << 31);
  EXPECT_EQ(time_, kModified);
}

TEST_F(LookUpTest, HeadReadsTheMonthWithoutRegardToCase) {
  int64_t length = 0;
  server_.Enqueue(Reply::Status(200).Header("Last-Modified", "Sun, 06 nOV 1994 08:49:37 GMT"));
  EXPECT_EQ(client_.GetLastModifiedTime(u"/a", &length, &time_), 1U);
  EXPECT_EQ(time_, kModified);
}

TEST_F(LookUpTest, HeadWithoutTimeOrLengthGivesZeros) {
  int64_t length = -5;
  time_ = kModified;
  server_.Enqueue(Reply::Status(200).SayNoLength());
  EXPECT_EQ(client_.GetLastModifiedTime(u"/a", &length, &time_), 1U);
  EXPECT_EQ(length, 0);
  EXPECT_EQ(time_, FileTime{});
}

TEST_F(LookUpTest, HeadThatIsRefusedLeavesTheCallersPlaces) {
  int64_t length = -5;
  server_.Enqueue(Reply::Status(404, "Not Found"));
  EXPECT_EQ(client_.GetLastModifiedTime(u"/a", &length, &time_), 0U);
  EXPECT_EQ(length, -5);
  EXPECT_TRUE(TraceHas(u"Error getting Last modified date of /a, Reason: Not Found"));
}

TEST_F(LookUpTest, HeadThatCannotBeSentSaysSo) {
  int64_t length = -5;
  server_.On([](const Request&) { return Reply::Drop(); });
  EXPECT_EQ(client_.GetLastModifiedTime(u"/a", &length, &time_), 0U);
  EXPECT_EQ(CountInTrace(u"Unable to get Last modified date of file /a, Reason: "), 1U);
}

// --- a folder's time

std::string TimeReply(const std::string& time) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
         "<D:multistatus xmlns:D=\"DAV:\"><D:response xmlns:lp0=\"DAV:\">"
         "<D:href>/users/anna/Files/Docs/</D:href><D:propstat><D:prop>"
         "<lp0:getlastmodified>" +
         time +
         "</lp0:getlastmodified></D:prop><D:status>HTTP/1.1 200 OK</D:status></D:propstat>"
         "</D:response></D:multistatus>";
}

TEST_F(LookUpTest, AFoldersTimeComesInWholeSeconds) {
  Seconds1601 time;
  server_.Enqueue(Reply::Status(207).Body(TimeReply(kModifiedText)));
  EXPECT_EQ(client_.GetFolderLastModifiedTime(u"/Docs/", &time), 1U);
  EXPECT_EQ(time, ToSeconds(kModified));
  const Request request = server_.requests().at(0);
  EXPECT_EQ(request.verb + " " + request.target, "PROPFIND /users/anna/Files/Docs/");
  EXPECT_EQ(request.Header("Depth"), "0");
  EXPECT_EQ(request.Header("Content-Type"), "text/xml");
  EXPECT_EQ(request.Header("Translate"), "f");
  EXPECT_EQ(
      request.body,
      "<?xml version='1.0'?><propfind xmlns='DAV:'><prop><getlastmodified/></prop></propfind>");
}

TEST_F(LookUpTest, AFilesTimeIsAskedForWithItsLength) {
  Seconds1601 time;
  server_.Enqueue(Reply::Status(207).Body(TimeReply(kModifiedText)));
  EXPECT_EQ(client_.GetFolderLastModifiedTime(u"/a.txt", &time), 1U);
  EXPECT_EQ(server_.requests().at(0).body,
            "<?xml version='1.0'?><propfind xmlns='DAV:'><prop><getlastmodified/>"
            "<getcontentlength/></prop></propfind>");
}

TEST_F(LookUpTest, AReplyThatIsNoXmlGivesNoTime) {
  Seconds1601 time{.value = 7};
  server_.Enqueue(Reply::Status(207).Body("<D:multistatus"));
  EXPECT_EQ(client_.GetFolderLastModifiedTime(u"/", &time), 0U);
  EXPECT_EQ(time.value, 7);
  EXPECT_EQ(CountInTrace(u"XML response load failed, Reason : "), 1U);
}

TEST_F(LookUpTest, AReplyWithoutTheTimeGivesNone) {
  Seconds1601 time{.value = 7};
  server_.Enqueue(Reply::Status(207).Body("<D:multistatus xmlns:D=\"DAV:\"/>"));
  EXPECT_EQ(client_.GetFolderLastModifiedTime(u"/", &time), 0U);
  EXPECT_EQ(time.value, 7);
}

TEST_F(LookUpTest, AFolderThatIsRefusedIsTracedWithTheReason) {
  Seconds1601 time;
  server_.Enqueue(Reply::Status(404, "Not Found"));
  EXPECT_EQ(client_.GetFolderLastModifiedTime(u"/Docs/", &time), 0U);
  EXPECT_TRUE(
      TraceHas(u"Error calling PROPFIND to get last modified date on /Docs/, Reason: Not Found"));
}

TEST_F(LookUpTest, AFolderThatCannotBeAskedForIsTracedWithItsTwoBlanks) {
  Seconds1601 time;
  server_.On([](const Request&) { return Reply::Drop(); });
  EXPECT_EQ(client_.GetFolderLastModifiedTime(u"/Docs/", &time), 0U);
  EXPECT_EQ(CountInTrace(u"Unable to get last modified date  of /Docs/, Reason: "), 1U);
}

TEST_F(LookUpTest, AReplyThatBreaksOffIsAnInternetError) {
  Seconds1601 time;
  server_.Enqueue(Reply::Status(207).Body(TimeReply(kModifiedText)).CloseAfter(40));
  EXPECT_EQ(client_.GetFolderLastModifiedTime(u"/Docs/", &time), 0U);
  EXPECT_EQ(CountInTrace(u"Internet Error from GetFolderLastModifiedTime, Reason: "), 1U);
}

}  // namespace
}  // namespace zv::testing
