// One request: what it carries, how it is sent, what becomes of its reply.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "tests/webdav/replies.h"

namespace zv::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

using RequestTest = ClientTest;

TEST_F(RequestTest, CarriesWhatWasSetAndTheCredentials) {
  server_.Enqueue(Reply::Status(207, "Fine"));
  OpenClient client;
  client.ResetRequest();
  client.AddRequestHeaders(u"Depth:1\nX-Two: 2", false);
  client.AddRequestHeaders(u"X-Three: 3", true);
  client.SetRequestBody("<a>", false);
  client.SetRequestBody("</a>", true);
  ASSERT_TRUE(client.SendDAVRequest(u"PROPFIND", u"\\users\\anna\\Files\\Docs\\a b.t\u00E9"));
  EXPECT_EQ(client.status_code(), 207u);
  EXPECT_EQ(client.GetErrorMessage(), u"Fine");
  const Request request = server_.requests().at(0);
  EXPECT_EQ(request.verb, "PROPFIND");
  EXPECT_EQ(request.target, "/users/anna/Files/Docs/a%20b%2Et%C3%A9");
  EXPECT_EQ(request.version, "HTTP/1.1");
  EXPECT_EQ(request.Header("Host"), server_.address());
  EXPECT_EQ(request.Header("User-Agent"), "Cirrux App");
  EXPECT_EQ(request.Header("Depth"), "1");
  EXPECT_EQ(request.Header("X-Two"), "2");
  EXPECT_EQ(request.Header("X-Three"), "3");
  EXPECT_EQ(request.Header("Authorization"), kAuthorization);
  EXPECT_EQ(request.body, "<a></a>");
  EXPECT_EQ(client.request_headers_,
            u"Depth:1\nX-Two: 2\nX-Three: 3\n\nAuthorization: Basic YW5uYTpzZWNyZXQ=");
  EXPECT_TRUE(home_.LogHasLine(u"DavDebug.txt",
                               u"Finished making a Webdav call PROPFIND, with response 207"));
}

TEST_F(RequestTest, CredentialsAreSentInTheEightBitForm) {
  server_.Enqueue(Reply::Status(200));
  CWebDAV client;
  client.LoginToServer(u"j\u00F6rg", u"\u00E9");
  const Request request = server_.requests().at(0);
  EXPECT_EQ(request.target, "/users/j%C3%B6rg/Files");
  EXPECT_EQ(request.Header("Authorization"), "Basic avZyZzrp");  // j F6 r g : E9
}

TEST_F(RequestTest, ResetEmptiesAll) {
  server_.Enqueue(Reply::Status(404));
  OpenClient client;
  client.SetRequestBody("body", false);
  client.SetRequestFlags(kFlagReload, false);
  ASSERT_TRUE(client.SendDAVRequest(u"OPTIONS", u"/"));
  client.ResetRequest();
  EXPECT_EQ(client.request_headers_, u"");
  EXPECT_EQ(client.request_body_, "");
  EXPECT_EQ(client.request_flags_, 0u);
  EXPECT_EQ(client.status_code(), 0u);
}

TEST_F(RequestTest, FlagsAreReplacedOrAdded) {
  OpenClient client;
  client.SetRequestFlags(kFlagReload, false);
  client.SetRequestFlags(kFlagNoCacheWrite, true);
  EXPECT_EQ(client.request_flags_, 0x84000000u);
  client.SetRequestFlags(kFlagNoCacheWrite, false);
  EXPECT_EQ(client.request_flags_, 0x04000000u);
}

TEST_F(RequestTest, SecureServersGetTheirFlags) {
  OpenClient client;
  client.settings_.use_ssl = true;
  client.SetRequestFlags(kFlagNoCacheWrite, false);
  EXPECT_EQ(client.request_flags_, 0x04803000u);
  client.settings_.use_compression = true;
  client.SetRequestFlags(kFlagNoCacheWrite, false);
  EXPECT_EQ(client.request_flags_, 0x04000000u);
}

TEST_F(RequestTest, SendingToASecureServerSetsTheFlagsAnyway) {
  OpenClient client;
  client.ResetRequest();
  client.settings_.use_ssl = true;
  client.connection_.reset();
  EXPECT_FALSE(client.SendDAVRequest(u"OPTIONS", u"/"));
  EXPECT_EQ(client.request_flags_, 0x803000u);
  EXPECT_EQ(client.status_code(), 0u);
}

TEST_F(RequestTest, CertificatesAreNotMinded) {
  server_.Enqueue(Reply::Status(200));
  OpenClient client;
  ASSERT_TRUE(client.SendDAVRequest(u"OPTIONS", u"/"));
  EXPECT_EQ(client.request_->QueryOption(kOptionSecurityFlags) & 0x3180u, 0x3180u);
}

TEST_F(RequestTest, WithoutARequestThereAreNoCertificates) {
  CWebDAV client;
  client.IgnoreCertificateRequest();
  EXPECT_EQ(home_.LogText(u"DavDebug.txt"), u"Exception in  IgnoreCertificateRequest\r\n");
}

TEST_F(RequestTest, EveryStatusIsSent) {
  CWebDAV client;
  for (const int status : {200, 204, 301, 401, 404, 412, 500, 507}) {
    server_.Enqueue(Reply::Status(status));
    client.ResetRequest();
    EXPECT_TRUE(client.SendDAVRequest(u"DELETE", u"/x"));
    EXPECT_EQ(client.status_code(), static_cast<uint32_t>(status));
  }
}

TEST_F(RequestTest, TheReplyIsReadPieceByPiece) {
  server_.Enqueue(Reply::Status(200).Body("0123456789"));
  CWebDAV client;
  ASSERT_TRUE(client.SendDAVRequest(u"GET", u"/x"));
  char buffer[4];
  size_t received = 99;
  std::string body;
  while (client.GetBufferFromServer(buffer, sizeof(buffer), &received) && received > 0) {
    body.append(buffer, received);
  }
  EXPECT_EQ(body, "0123456789");
  EXPECT_EQ(received, 0u);
}

TEST_F(RequestTest, WithoutARequestOrABufferNothingIsRead) {
  CWebDAV client;
  char buffer[4];
  size_t received = 99;
  EXPECT_FALSE(client.GetBufferFromServer(buffer, sizeof(buffer), &received));
  EXPECT_EQ(received, 0u);
  server_.Enqueue(Reply::Status(200).Body("x"));
  ASSERT_TRUE(client.SendDAVRequest(u"GET", u"/x"));
  EXPECT_FALSE(client.GetBufferFromServer(nullptr, 4));
  EXPECT_FALSE(client.GetBufferFromServer(buffer, 0));
  client.ClearRequest();
  EXPECT_FALSE(client.GetBufferFromServer(buffer, sizeof(buffer)));
}

TEST_F(RequestTest, ABodyThatBreaksOffIsToldWithItsReason) {
  server_.Enqueue(Reply::Status(200).Body("0123456789").CloseAfter(5));
  CWebDAV client;
  ASSERT_TRUE(client.SendDAVRequest(u"GET", u"/x"));
  char buffer[4];
  while (client.GetBufferFromServer(buffer, sizeof(buffer))) {
  }
  EXPECT_NE(client.GetErrorMessage(), u"OK");
  EXPECT_TRUE(home_.LogHasLine(
      u"DavDebug.txt", u"Exception in GetBufferFromServer, Reason: " + client.GetErrorMessage()));
}

TEST_F(RequestTest, NoReplyIsAFailureWithTheSystemsText) {
  server_.Enqueue(Reply::Reset());
  OpenClient client;
  client.ResetRequest();
  EXPECT_FALSE(client.SendDAVRequest(u"MKCOL", u"/x"));
  EXPECT_EQ(client.status_code(), 0u);
  const Text reason = client.GetErrorMessage();
  EXPECT_NE(reason, u"");
  EXPECT_EQ(home_.LogText(u"DavDebug.txt"), u"Error calling MKCOL, Reason: " + reason + u"\r\n");
}

TEST_F(RequestTest, AFailureLeavesTheClientUsable) {
  server_.Enqueue(Reply::Raw("no http at all\r\n\r\n"));
  server_.Enqueue(Reply::Status(200));
  CWebDAV client;
  EXPECT_FALSE(client.SendDAVRequest(u"OPTIONS", u"/"));
  EXPECT_TRUE(client.SendDAVRequest(u"OPTIONS", u"/"));
  EXPECT_EQ(client.status_code(), 200u);
}

TEST_F(RequestTest, AnErrorMessageIsNeverEmpty) {
  OpenClient client;
  EXPECT_EQ(client.GetErrorMessage(), u"An unknown error has occurred.");
  EXPECT_EQ(client.status_text_, u"An unknown error has occurred.");
}

TEST_F(RequestTest, AnErrorMessageLosesItsLineEnd) {
  OpenClient client;
  client.status_text_ = u"Failed.\r\n";
  EXPECT_EQ(client.GetErrorMessage(), u"Failed.");
  EXPECT_EQ(client.status_text_, u"Failed.");
  client.status_text_ = u"\n";
  EXPECT_EQ(client.GetErrorMessage(), u"");
}

TEST_F(RequestTest, OneObjectSendsOneRequestAtATime) {
  std::atomic<int> running = 0;
  std::atomic<int> most = 0;
  server_.On([&](const Request&) {
    most = std::max<int>(most, ++running);
    std::this_thread::yield();
    --running;
    return Reply::Status(200);
  });
  CWebDAV client;
  std::atomic<int> sent = 0;
  const auto send = [&] {
    for (int i = 0; i < 10; ++i) sent += client.SendDAVRequest(u"OPTIONS", u"/x") ? 1 : 0;
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) threads.emplace_back(send);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(sent, 30);
  EXPECT_EQ(most, 1);
}

}  // namespace
}  // namespace zv::testing
