// Listings asked of a server.
#include <gmock/gmock.h>

#include "platform/error.h"
#include "tests/webdav/replies.h"
#include "webdav/listing_testing.h"

namespace zv::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class ListingTest : public ClientTest {
 protected:
  // Number of records; 0 when there is no listing.
  size_t List(TextView path = u"/Docs/") {
    DirectoryEntry* entries = nullptr;
    if (!client().GetDirectoryContents(path, &entries)) {
      EXPECT_EQ(entries, nullptr);
      return 0;
    }
    size_t count = 1;
    while (entries[count - 1].last_entry == 0) ++count;
    return count;
  }

  OpenClient& client() {
    if (!client_) client_.emplace();
    return *client_;
  }
  std::string Trace() const { return ToUtf8(home_.LogText(u"DavDebug.txt")); }
  std::string UserLog() const { return ToUtf8(home_.LogText(u"UserLog.txt")); }

  std::optional<OpenClient> client_;
};

// Of a reply that is too long. Not every system's client has a text for it.
Text InvalidResponseText() {
  const Text text = SystemErrorText(12152);
  return text.empty() ? Text(kUnknownErrorText) : text;
}

const std::string kReply = Multistatus(Response("/users/anna/Files/Docs/a%20b.txt", Length("3")) +
                                       Response("/users/anna/Files/Docs/", Quota("100", "40")));

TEST_F(ListingTest, AsksForTheMembersProperties) {
  server_.Enqueue(Reply::Status(207).Body(kReply));
  EXPECT_EQ(List(), 3u);
  const Request request = server_.requests().at(0);
  EXPECT_EQ(request.verb, "PROPFIND");
  EXPECT_EQ(request.target, "/users/anna/Files/Docs/");
  EXPECT_EQ(request.Header("Depth"), "1");
  EXPECT_EQ(request.Header("Content-Type"), "text/xml");
  EXPECT_EQ(request.Header("Translate"), "f");
  EXPECT_EQ(request.Header("Authorization"), kAuthorization);
  EXPECT_EQ(request.body,
            "<?xml version='1.0'?><propfind xmlns='DAV:'><prop><getcontentlength/><creationdate/>"
            "<getlastmodified/><quota/><used/></prop></propfind>");
  EXPECT_EQ(client().request_flags_, kFlagNoCacheWrite);
  EXPECT_EQ(client().request_, nullptr);
}

TEST_F(ListingTest, ASuccessIsTold) {
  server_.Enqueue(Reply::Status(207).Body(kReply));
  EXPECT_EQ(List(), 3u);
  EXPECT_THAT(UserLog(), StartsWith("Information : "));
  EXPECT_TRUE(home_.LogHasLine(u"UserLog.txt",
                               u"Fetched the directory contents of /users/anna/Files/Docs/."));
  EXPECT_EQ(Trace(), "Finished making a Webdav call PROPFIND, with response 207\r\n");
}

TEST_F(ListingTest, ReadsBodiesInChunksAndWithoutALength) {
  server_.Enqueue(Reply::Status(207).Body(kReply).Chunked(7));
  EXPECT_EQ(List(), 3u);
  server_.Enqueue(Reply::Status(207).Body(kReply).SayNoLength());
  EXPECT_EQ(List(), 3u);
}

TEST_F(ListingTest, EachListingBeginsAnew) {
  server_.On([](const Request&) { return Reply::Status(207).Body(kReply); });
  EXPECT_EQ(List(), 3u);
  EXPECT_EQ(List(), 3u);
  EXPECT_EQ(client().request_headers_,
            u"Depth:1\nContent-Type:text/xml\nTranslate:f\n\nAuthorization: Basic "
            u"YW5uYTpzZWNyZXQ=");
  EXPECT_EQ(server_.requests().at(1).body, server_.requests().at(0).body);
}

TEST_F(ListingTest, AnotherStatusIsAFailureWithItsReason) {
  server_.Enqueue(Reply::Status(404, "Not Found").Body("<html>gone</html>"));
  EXPECT_EQ(List(), 0u);
  EXPECT_THAT(UserLog(), StartsWith("Error       : "));
  EXPECT_TRUE(home_.LogHasLine(u"UserLog.txt",
                               u"Unable to obtain directory contents of /users/anna/Files/Docs/. "
                               u"Reason: Not Found (404)"));
  EXPECT_TRUE(home_.LogHasLine(
      u"DavDebug.txt", u"Error calling PROPFIND on /users/anna/Files/Docs/. Reason: Not Found"));
  EXPECT_EQ(client().request_, nullptr);
  EXPECT_EQ(client().status_code(), 404u);
}

TEST_F(ListingTest, NoReplyIsAFailureWithItsReason) {
  server_.Enqueue(Reply::Reset());
  EXPECT_EQ(List(), 0u);
  const Text reason = client().GetErrorMessage();
  EXPECT_TRUE(home_.LogHasLine(
      u"DavDebug.txt", u"Error returned from SendDAVRequest for PROPFIND. Reason : " + reason));
  EXPECT_TRUE(home_.LogHasLine(u"UserLog.txt",
                               u"Unable to obtain directory contents of /users/anna/Files/Docs/. "
                               u"Reason: " +
                                   reason));
}

TEST_F(ListingTest, ABodyThatIsNoListingIsToldByTheTrace) {
  for (const std::string& body :
       {std::string(), std::string("garbage"), kReply.substr(0, kReply.size() / 2)}) {
    server_.Enqueue(Reply::Status(207).Body(body));
    EXPECT_EQ(List(), 0u);
    EXPECT_THAT(Trace(), HasSubstr("XML response load failed, Reason : "));
    EXPECT_TRUE(home_.LogHasLine(u"DavDebug.txt",
                                 u"Error returned from parser in DAV GetDirectoryContents."));
    EXPECT_EQ(UserLog(), "");
  }
}

TEST_F(ListingTest, AFilesPathIsToldByTheTrace) {
  server_.Enqueue(
      Reply::Status(207).Body(Multistatus(Response("/users/anna/Files/a.txt", Length("1")))));
  EXPECT_EQ(List(u"/a.txt"), 0u);
  EXPECT_EQ(Trace(),
            "Finished making a Webdav call PROPFIND, with response 207\r\n"
            "Returning false from parser, Reason: no files\r\n"
            "Error returned from parser in DAV GetDirectoryContents.\r\n");
}

TEST_F(ListingTest, ABodyThatBreaksOffIsAnInternetError) {
  server_.Enqueue(Reply::Status(207).Body(kReply).CloseAfter(kReply.size() / 2));
  EXPECT_EQ(List(), 0u);
  EXPECT_TRUE(home_.LogHasLine(u"DavDebug.txt", u"Internet Error from DAV GetContents, Reason: " +
                                                    client().GetErrorMessage()));
  EXPECT_EQ(UserLog(), "");
  EXPECT_EQ(client().request_, nullptr);
}

TEST_F(ListingTest, AReplyLongerThanTheLimitIsAnInternetError) {
  server_.On([](const Request&) { return Reply::Status(207).Body(kReply); });
  {
    const ReplyLimit limit(kReply.size());
    EXPECT_EQ(List(), 3u);
  }
  const ReplyLimit limit(kReply.size() - 1);
  EXPECT_EQ(List(), 0u);
  EXPECT_TRUE(home_.LogHasLine(
      u"DavDebug.txt", u"Internet Error from DAV GetContents, Reason: " + InvalidResponseText()));
  EXPECT_EQ(client().request_, nullptr);
}

TEST_F(ListingTest, OfAReplyThatGoesOnAndOnOnlyTheLimitIsRead) {
  constexpr uint64_t kOnAndOn = 64 << 20;
  const ReplyLimit limit(100000);
  for (const Reply& reply : {Reply::Status(207).LongBody(kOnAndOn).SayNoLength(),
                             Reply::Status(207).LongBody(kOnAndOn).Chunked(5000)}) {
    server_.Enqueue(reply);
    EXPECT_EQ(List(), 0u);
    EXPECT_EQ(client().GetErrorMessage(), InvalidResponseText());
  }
  server_.Enqueue(Reply::Status(207).LongBody(kOnAndOn));
  Seconds1601 time;
  EXPECT_EQ(client().GetFolderLastModifiedTime(u"/Docs/", &time), 0u);
  EXPECT_EQ(client().GetErrorMessage(), InvalidResponseText());
  server_.Enqueue(Reply::Status(207).Body(kReply));
  EXPECT_EQ(List(), 3u);
}

TEST_F(ListingTest, AFailedListingLeavesTheNextOneAlone) {
  server_.Enqueue(Reply::Status(207).Body("garbage"));
  server_.Enqueue(Reply::Status(207).Body(kReply));
  EXPECT_EQ(List(), 0u);
  EXPECT_EQ(List(), 3u);
}

// A name that fills its piece, in UTF-8 and unescaped: no character is torn at the pieces' edges.
TEST_F(ListingTest, NamesAcrossThePiecesEdgesStayWhole) {
  std::string responses;
  Text expected;
  for (int i = 0; i < 40; ++i) {
    responses += Response("/users/anna/Files/Docs/" + std::string(static_cast<size_t>(i), 'x') +
                          "\xC3\xA9\xC3\xA9" + std::string(500, 'y'));
  }
  server_.Enqueue(
      Reply::Status(207).Body(Multistatus(responses + Response("/users/anna/Files/Docs/"))));
  DirectoryEntry* entries = nullptr;
  ASSERT_TRUE(client().GetDirectoryContents(u"/Docs/", &entries));
  for (size_t i = 0; i < 40; ++i) {
    EXPECT_EQ(entries[2 + i].Name().substr(i, 3), u"\u00E9\u00E9y");
  }
}

TEST_F(ListingTest, FiftyMegabytesAreListed) {
  constexpr uint64_t kResponseBytes = 2048;
  constexpr uint64_t kCount = 25'000;
  const auto member = [](uint64_t number) {
    const std::string name = std::to_string(1'000'000 + number);
    std::string text = Response("/users/anna/Files/" + name, Length(name));
    return text + std::string(kResponseBytes - text.size(), ' ');
  };
  std::string body = Multistatus("");
  const size_t end = body.find("</D:multistatus>");
  std::string responses;
  responses.reserve(kResponseBytes * (kCount + 1));
  for (uint64_t i = 0; i < kCount; ++i) responses += member(i);
  body.insert(end, responses + Response("/users/anna/Files/"));
  ASSERT_GT(body.size(), 50'000'000u);
  server_.Enqueue(Reply::Status(207).Body(std::move(body)));
  DirectoryEntry* entries = nullptr;
  ASSERT_TRUE(client().GetDirectoryContents(u"/", &entries));
  EXPECT_EQ(entries[2].Name(), u"1000000");
  EXPECT_EQ(entries[kCount + 1].Name(), u"1024999");
  EXPECT_EQ(entries[kCount + 1].size, 1'024'999);
  EXPECT_EQ(entries[kCount + 1].last_entry, 1u);
}

}  // namespace
}  // namespace zv::testing
