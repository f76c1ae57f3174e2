// What a request and its reply are, on both systems.
#include <atomic>
#include <thread>
#include <vector>

#include "tests/platform/internet_fixture.h"

namespace zv::testing {
namespace {

using ::testing::ElementsAre;

TEST_F(InternetTest, SendsVerbObjectHeadersAndBody) {
  server_.Enqueue(Reply::Status(207).Body("<xml/>"));
  Client client(server_, u"PROPFIND", u"/users/anna/Files/a%20b%2Etxt");
  ASSERT_TRUE(client.request.Send(
      u"Depth:1\nContent-Type:text/xml\nTranslate:f\nAuthorization: Basic YTpi", "<body/>"));
  EXPECT_EQ(client.request.StatusCode(), 207u);
  EXPECT_EQ(client.request.StatusText(), u"Multi-Status");
  EXPECT_EQ(ReadAll(client.request), "<xml/>");
  const Request request = server_.requests().at(0);
  EXPECT_EQ(request.verb, "PROPFIND");
  EXPECT_EQ(request.target, "/users/anna/Files/a%20b%2Etxt");
  EXPECT_EQ(request.version, "HTTP/1.1");
  EXPECT_EQ(request.Header("Host"), server_.address());
  EXPECT_EQ(request.Header("User-Agent"), "Test Agent");
  EXPECT_EQ(request.Header("Depth"), "1");
  EXPECT_EQ(request.Header("Content-Type"), "text/xml");
  EXPECT_EQ(request.Header("Translate"), "f");
  EXPECT_EQ(request.Header("Authorization"), "Basic YTpi");
  EXPECT_EQ(request.Header("Content-Length"), "7");
  EXPECT_EQ(request.CountHeaders("Expect"), 0u);
  EXPECT_EQ(request.body, "<body/>");
}

TEST_F(InternetTest, NoAcceptLineIsSentUnlessTheCallerHasOne) {
  server_.On([](const Request&) { return Reply::Status(200); });
  Client get(server_, u"GET", u"/");
  ASSERT_TRUE(get.request.Send(u"", {}));
  Client listing(server_, u"PROPFIND", u"/");
  ASSERT_TRUE(listing.request.Send(u"Depth:1", "<body/>"));
  Client upload(server_, u"PUT", u"/");
  ASSERT_TRUE(upload.request.Begin(0));
  ASSERT_TRUE(upload.request.End());
  for (const Request& request : server_.requests()) {
    EXPECT_EQ(request.CountHeaders("Accept"), 0u) << request.verb;
  }
  Client own(server_, u"GET", u"/");
  ASSERT_TRUE(own.request.Send(u"accept: text/xml", {}));
  EXPECT_EQ(server_.requests().back().CountHeaders("Accept"), 1u);
  EXPECT_EQ(server_.requests().back().Header("Accept"), "text/xml");
}

TEST_F(InternetTest, TheLastOfRepeatedLinesWins) {
  server_.Enqueue(Reply::Status(200));
  Client client(server_, u"OPTIONS", u"/");
  ASSERT_TRUE(
      client.request.Send(u"Authorization: Basic one\nDepth:0\nAuthorization: Basic two", {}));
  EXPECT_EQ(server_.requests().at(0).CountHeaders("Authorization"), 1u);
  EXPECT_EQ(server_.requests().at(0).Header("Authorization"), "Basic two");
  EXPECT_EQ(server_.requests().at(0).Header("Depth"), "0");
}

TEST_F(InternetTest, EmptyLinesOfTheHeaderBlockAreDropped) {
  server_.Enqueue(Reply::Status(201));
  Client client(server_, u"MOVE", u"/a");
  ASSERT_TRUE(client.request.Send(
      u"Overwrite:F\nDestination:http://h/b\n\nAuthorization: Basic x\r\n\r\n", {}));
  const Request request = server_.requests().at(0);
  EXPECT_EQ(request.Header("Overwrite"), "F");
  EXPECT_EQ(request.Header("Destination"), "http://h/b");
  EXPECT_EQ(request.Header("Authorization"), "Basic x");
}

TEST_F(InternetTest, AddedHeadersReplaceEarlierOnes) {
  server_.Enqueue(Reply::Status(200));
  Client client(server_, u"GET", u"/");
  client.request.AddHeaders(u"Range: bytes=1-\nX-One: 1");
  client.request.AddHeaders(u"range: bytes=2-");
  ASSERT_TRUE(client.request.Send(u"X-One: 2", {}));
  EXPECT_EQ(server_.requests().at(0).Header("Range"), "bytes=2-");
  EXPECT_EQ(server_.requests().at(0).CountHeaders("Range"), 1u);
  EXPECT_EQ(server_.requests().at(0).Header("X-One"), "2");
  EXPECT_EQ(server_.requests().at(0).CountHeaders("X-One"), 1u);
}

TEST_F(InternetTest, VerbsWithoutABodySendNone) {
  server_.On([](const Request&) { return Reply::Status(204); });
  for (const TextView verb : {u"GET", u"HEAD", u"OPTIONS", u"MKCOL", u"DELETE", u"MOVE"}) {
    Client client(server_, verb, u"/x");
    ASSERT_TRUE(client.request.Send(u"", {}));
    EXPECT_EQ(client.request.StatusCode(), 204u);
    const Request request = server_.requests().back();
    EXPECT_EQ(request.verb, ToUtf8(verb));
    EXPECT_EQ(request.body_size, 0u);
    EXPECT_EQ(request.CountHeaders("Content-Type"), 0u);
  }
}

TEST_F(InternetTest, AnObjectWithoutItsSlashGetsOne) {
  server_.Enqueue(Reply::Status(200));
  Client client(server_, u"GET", u"cgi-bin/x.cgi?user=a&path=%2F", u"HTTP/1.0",
                kFlagReload | kFlagNoCacheWrite);
  ASSERT_TRUE(client.request.Send(u"", {}));
  EXPECT_EQ(server_.requests().at(0).target, "/cgi-bin/x.cgi?user=a&path=%2F");
  EXPECT_EQ(server_.requests().at(0).version, "HTTP/1.0");
}

TEST_F(InternetTest, DotSegmentsOfTheObjectStay) {
  server_.Enqueue(Reply::Status(200));
  Client client(server_, u"GET", u"/a/%2E%2E/b");
  ASSERT_TRUE(client.request.Send(u"", {}));
  EXPECT_EQ(server_.requests().at(0).target, "/a/%2E%2E/b");
}

TEST_F(InternetTest, EveryStatusIsAReply) {
  for (const int status :
       {200, 201, 204, 206, 207, 400, 403, 404, 405, 409, 412, 416, 423, 500, 502, 503, 507}) {
    server_.Enqueue(Reply::Status(status, "Said so"));
    Client client(server_, u"GET", u"/");
    ASSERT_TRUE(client.request.Send(u"", {}));
    EXPECT_EQ(client.request.StatusCode(), static_cast<uint32_t>(status));
    EXPECT_EQ(client.request.StatusText(), u"Said so");
    EXPECT_EQ(ReadAll(client.request), "");
  }
}

TEST_F(InternetTest, ThereIsNoStatusBeforeTheReply) {
  const Client client(server_, u"GET", u"/");
  EXPECT_EQ(client.request.StatusCode(), 0u);
  EXPECT_EQ(client.request.StatusText(), u"");
  EXPECT_EQ(client.request.Header(u"Content-Length"), std::nullopt);
}

TEST_F(InternetTest, AReplyOfAnOldServerMayHaveNoHeaders) {
  server_.On([](const Request&) { return Reply::Raw("HTTP/1.0 200 OK\r\n\r\n1.5"); });
  Client client(server_, u"GET", u"/", u"HTTP/1.0");
  ASSERT_TRUE(client.request.Send(u"", {}));
  EXPECT_EQ(client.request.StatusCode(), 200u);
  EXPECT_EQ(client.request.StatusText(), u"OK");
  EXPECT_EQ(ReadAll(client.request), "1.5");
}

TEST_F(InternetTest, RepliesHeadersAreFoundCaseBlind) {
  server_.Enqueue(
      Reply::Status(200).Header("Last-Modified", "Tue, 15 Nov 1994 12:45:26 GMT").Body("12345"));
  Client client(server_, u"GET", u"/");
  ASSERT_TRUE(client.request.Send(u"", {}));
  EXPECT_EQ(client.request.Header(u"content-LENGTH"), u"5");
  EXPECT_EQ(client.request.Header(u"Last-Modified"), u"Tue, 15 Nov 1994 12:45:26 GMT");
  EXPECT_EQ(client.request.Header(u"X-Missing"), std::nullopt);
}

TEST_F(InternetTest, HeadHasALengthAndNoBody) {
  server_.Enqueue(Reply::Status(200).Body("12345"));
  Client client(server_, u"HEAD", u"/");
  ASSERT_TRUE(client.request.Send(u"", {}));
  EXPECT_EQ(client.request.Header(u"Content-Length"), u"5");
  EXPECT_EQ(ReadAll(client.request), "");
}

TEST_F(InternetTest, ReadsABodyInPiecesThatAreFull) {
  const std::string content = PatternBytes(0, 5'000'001);
  server_.On([&content](const Request&) { return Reply::Status(200).Body(content); });
  for (const size_t piece : {size_t{1000}, size_t{16384}, size_t{51200}, size_t{6'000'000}}) {
    Client client(server_, u"GET", u"/");
    ASSERT_TRUE(client.request.Send(u"", {}));
    client.request.SetReadBuffer(piece);
    std::string body;
    std::string buffer(piece, '\0');
    size_t got = piece;
    while (got == piece) {
      got = client.request.Read(buffer.data(), piece);
      body.append(buffer, 0, got);
    }
    EXPECT_EQ(body.size(), content.size());
    EXPECT_TRUE(body == content);
    EXPECT_EQ(client.request.Read(buffer.data(), piece), 0u);
  }
}

TEST_F(InternetTest, ReadsChunksAndBodiesWithoutALength) {
  const std::string content = PatternBytes(0, 300'000);
  server_.Enqueue(Reply::Status(200).Body(content).Chunked(7000));
  server_.Enqueue(Reply::Status(200).Body(content).SayNoLength().Closing());
  for (int i = 0; i < 2; ++i) {
    Client client(server_, u"GET", u"/");
    ASSERT_TRUE(client.request.Send(u"", {}));
    EXPECT_EQ(client.request.Header(u"Content-Length"), std::nullopt);
    EXPECT_TRUE(ReadAll(client.request) == content);
  }
}

TEST_F(InternetTest, ReadsRanges) {
  server_.On([](const Request& request) { return Reply::Content(request, "0123456789"); });
  Client part(server_, u"GET", u"/");
  ASSERT_TRUE(part.request.Send(u"Range: bytes=4-6", {}));
  EXPECT_EQ(part.request.StatusCode(), 206u);
  EXPECT_EQ(part.request.Header(u"Content-Length"), u"3");
  EXPECT_EQ(ReadAll(part.request), "456");
  Client beyond(server_, u"GET", u"/");
  ASSERT_TRUE(beyond.request.Send(u"Range: bytes=10-", {}));
  EXPECT_EQ(beyond.request.StatusCode(), 416u);
  EXPECT_EQ(ReadAll(beyond.request), "");
}

TEST_F(InternetTest, TwoBodiesAreReadAlternately) {
  server_.On([](const Request&) { return Reply::Status(200).LongBody(3'000'000); });
  Client first(server_, u"GET", u"/1");
  Client second(server_, u"GET", u"/2");
  ASSERT_TRUE(first.request.Send(u"", {}));
  ASSERT_TRUE(second.request.Send(u"", {}));
  std::string a(100'000, '\0');
  std::string b(100'000, '\0');
  for (uint64_t at = 0; at < 3'000'000; at += a.size()) {
    ASSERT_EQ(first.request.Read(a.data(), a.size()), a.size());
    ASSERT_EQ(second.request.Read(b.data(), b.size()), b.size());
    EXPECT_TRUE(a == PatternBytes(at, a.size()));
    EXPECT_TRUE(a == b);
  }
}

TEST_F(InternetTest, UploadsBodiesOfAnySize) {
  server_.On([](const Request&) { return Reply::Status(201); });
  for (const size_t size : {0, 1, 51199, 51200, 51201, 5'000'000}) {
    const std::string body = PatternBytes(0, size);
    Client client(server_, u"PUT", u"/file");
    client.request.AddHeaders(u"Authorization: Basic x");
    ASSERT_TRUE(client.request.Begin(size));
    WriteAll(client.request, body);
    ASSERT_TRUE(client.request.End());
    EXPECT_EQ(client.request.StatusCode(), 201u);
    EXPECT_EQ(client.request.StatusText(), u"Created");
    const Request request = server_.requests().back();
    EXPECT_EQ(request.verb, "PUT");
    EXPECT_EQ(request.Header("Content-Length"), std::to_string(size));
    EXPECT_EQ(request.Header("Authorization"), "Basic x");
    EXPECT_EQ(request.CountHeaders("Transfer-Encoding"), 0u);
    EXPECT_EQ(request.CountHeaders("Expect"), 0u);
    EXPECT_TRUE(request.body == body);
  }
  EXPECT_EQ(server_.connection_count(), 1u);
}

TEST_F(InternetTest, AnUploadsLengthIsTheOneItBeginsWith) {
  server_.Enqueue(Reply::Status(204));
  Client client(server_, u"PUT", u"/file");
  client.request.AddHeaders(u"Content-Range: bytes 4-6/7\nContent-Length: 3");
  ASSERT_TRUE(client.request.Begin(3));
  client.request.Write("abc", 3);
  ASSERT_TRUE(client.request.End());
  EXPECT_EQ(client.request.StatusCode(), 204u);
  EXPECT_EQ(server_.requests().at(0).Header("Content-Range"), "bytes 4-6/7");
  EXPECT_EQ(server_.requests().at(0).Header("Content-Length"), "3");
  EXPECT_EQ(server_.requests().at(0).CountHeaders("Content-Length"), 1u);
  EXPECT_EQ(server_.requests().at(0).body, "abc");
}

TEST_F(InternetTest, TheReplyToAnUploadHasABody) {
  server_.Enqueue(Reply::Status(409).Body("no such folder"));
  Client client(server_, u"PUT", u"/file");
  ASSERT_TRUE(client.request.Begin(3));
  client.request.Write("abc", 3);
  ASSERT_TRUE(client.request.End());
  EXPECT_EQ(client.request.StatusCode(), 409u);
  EXPECT_EQ(ReadAll(client.request), "no such folder");
}

TEST_F(InternetTest, ConnectionsAreUsedAgainByTheWholeProcess) {
  server_.On([](const Request&) { return Reply::Status(207).Body(std::string(10'000, 'x')); });
  for (int i = 0; i < 10; ++i) {
    Client client(server_, u"PROPFIND", u"/");
    ASSERT_TRUE(client.request.Send(u"", "<body/>"));
    EXPECT_EQ(ReadAll(client.request).size(), 10'000u);
  }
  std::thread([this] {
    Client client(server_, u"GET", u"/");
    EXPECT_TRUE(client.request.Send(u"", {}));
    EXPECT_EQ(ReadAll(client.request).size(), 10'000u);
  }).join();
  EXPECT_EQ(server_.request_count(), 11u);
  EXPECT_EQ(server_.connection_count(), 1u);
}

TEST_F(InternetTest, NothingOfARequestIsLeftToTheNextOneOnItsConnection) {
  server_.On([](const Request& request) {
    return Reply::Status(200).Body(request.verb == "GET" ? "body" : "");
  });
  Client upload(server_, u"PUT", u"/a");
  upload.request.AddHeaders(u"Depth:1\nAuthorization: Basic YTpi\nContent-Type:text/xml");
  SetTimeouts(upload.request, 1000);
  upload.request.Begin(4);
  upload.request.Write("data", 4);
  upload.request.End();
  EXPECT_EQ(ReadAll(upload.request), "");
  for (const TextView verb : {u"HEAD", u"PROPFIND", u"GET"}) {
    Client client(server_, verb, u"/b");
    ASSERT_TRUE(client.request.Send(u"", verb == u"PROPFIND" ? "<body/>" : ""));
    EXPECT_EQ(ReadAll(client.request), verb == u"GET" ? "body" : "");
  }
  EXPECT_EQ(server_.connection_count(), 1u);
  const std::vector<Request> requests = server_.requests();
  EXPECT_EQ(requests.at(0).body, "data");
  EXPECT_EQ(requests.at(1).verb, "HEAD");
  EXPECT_EQ(requests.at(2).body, "<body/>");
  const Request last = requests.at(3);
  EXPECT_EQ(last.verb, "GET");
  EXPECT_EQ(last.body, "");
  for (const char* name :
       {"Depth", "Authorization", "Content-Type", "Content-Length", "Transfer-Encoding"}) {
    EXPECT_EQ(last.CountHeaders(name), 0u) << name;
  }
}

TEST_F(InternetTest, AConnectionThatTheServerClosedMeanwhileIsReplaced) {
  server_.On([](const Request&) { return Reply::Status(200).Body("x"); });
  const auto ask = [this] {
    Client client(server_, u"GET", u"/");
    EXPECT_TRUE(client.request.Send(u"", {}));
    EXPECT_EQ(ReadAll(client.request), "x");
  };
  ask();
  server_.CloseConnections();
  ask();
  server_.CloseConnections();
  Client upload(server_, u"PUT", u"/");
  ASSERT_TRUE(upload.request.Begin(3));
  upload.request.Write("abc", 3);
  ASSERT_TRUE(upload.request.End());
  EXPECT_EQ(server_.requests().back().body, "abc");
}

TEST_F(InternetTest, ManyThreadsAskAtOnce) {
  server_.On([](const Request& request) { return Reply::Status(200).Body(request.target); });
  constexpr int kThreads = 8;
  constexpr int kRequests = 25;
  std::atomic<int> right = 0;
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([this, number, &right] {
      for (int i = 0; i < kRequests; ++i) {
        const std::string object = "/" + std::to_string(number) + "/" + std::to_string(i);
        Client client(server_, u"GET", FromUtf8(object));
        if (client.request.Send(u"", {}) && ReadAll(client.request) == object) ++right;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, kThreads * kRequests);
}

// Lets nobody in but anna:secret.
Reply Guard(const Request& request) {
  return request.Header("Authorization") == "Basic YW5uYTpzZWNyZXQ="
             ? Reply::Status(200).Body("in")
             : Reply::Status(401).Header("WWW-Authenticate", "Basic realm=\"r\"").Body("out");
}

TEST_F(InternetTest, UserAndPasswordAreTriedOnceAfterA401) {
  server_.On(Guard);
  InternetSession session(u"Test Agent", AccessType::kDirect, u"");
  HttpConnection known(session, server_.host(), server_.port(), u"anna", u"secret");
  HttpRequest welcome(known, u"PROPFIND", u"/", u"", kFlagNoCacheWrite);
  ASSERT_TRUE(welcome.Send(u"Depth:1", "<body/>"));
  EXPECT_EQ(welcome.StatusCode(), 200u);
  EXPECT_EQ(ReadAll(welcome), "in");
  ASSERT_EQ(server_.request_count(), 2u);
  for (const Request& request : server_.requests()) {
    EXPECT_EQ(request.Header("Depth"), "1");
    EXPECT_EQ(request.body, "<body/>");
  }
  HttpConnection unknown(session, server_.host(), server_.port(), u"anna", u"wrong");
  HttpRequest refused(unknown, u"GET", u"/", u"", kFlagNoCacheWrite);
  ASSERT_TRUE(refused.Send(u"", {}));
  EXPECT_EQ(refused.StatusCode(), 401u);
  EXPECT_EQ(ReadAll(refused), "out");
  EXPECT_EQ(server_.request_count(), 4u);
}

TEST_F(InternetTest, WithoutAUserA401IsTheReply) {
  server_.On(Guard);
  Client client(server_, u"GET", u"/");
  ASSERT_TRUE(client.request.Send(u"", {}));
  EXPECT_EQ(client.request.StatusCode(), 401u);
  EXPECT_EQ(ReadAll(client.request), "out");
  EXPECT_EQ(server_.request_count(), 1u);
}

TEST_F(InternetTest, AnAuthorizationLineOfItsOwnIsTheOnlyOneTried) {
  server_.On(Guard);
  InternetSession session(u"Test Agent", AccessType::kDirect, u"");
  HttpConnection connection(session, server_.host(), server_.port(), u"anna", u"secret");
  HttpRequest request(connection, u"OPTIONS", u"/", u"", kFlagNoCacheWrite);
  ASSERT_TRUE(request.Send(u"\nAuthorization: Basic b3duOmxpbmU=", {}));
  EXPECT_EQ(request.StatusCode(), 401u);
  EXPECT_EQ(ReadAll(request), "out");
  EXPECT_EQ(server_.request_count(), 1u);
  EXPECT_EQ(server_.requests().at(0).Header("Authorization"), "Basic b3duOmxpbmU=");
}

TEST_F(InternetTest, AnUploadIsNotSentAgainAfterA401) {
  server_.On(Guard);
  InternetSession session(u"Test Agent", AccessType::kDirect, u"");
  HttpConnection connection(session, server_.host(), server_.port(), u"anna", u"secret");
  HttpRequest request(connection, u"PUT", u"/", u"", kFlagNoCacheWrite);
  ASSERT_TRUE(request.Begin(3));
  request.Write("abc", 3);
  ASSERT_TRUE(request.End());
  EXPECT_EQ(request.StatusCode(), 401u);
  EXPECT_EQ(server_.request_count(), 1u);
}

TEST_F(InternetTest, FollowsRedirectsWithinTheServerOnly) {
  server_.On([this](const Request& request) {
    if (request.target == "/1") return Reply::Status(301).Header("Location", "/2?x=%20");
    if (request.target == "/2?x=%20") {
      return Reply::Status(302).Header("Location", "http://" + server_.address() + "/3");
    }
    if (request.target == "/away") {
      return Reply::Status(302).Header("Location", "http://elsewhere.invalid/").Body("gone");
    }
    return Reply::Status(200).Body(request.target + request.Header("X-Mine"));
  });
  Client client(server_, u"GET", u"/1");
  ASSERT_TRUE(client.request.Send(u"X-Mine: !", {}));
  EXPECT_EQ(client.request.StatusCode(), 200u);
  EXPECT_EQ(ReadAll(client.request), "/3!");
  Client away(server_, u"GET", u"/away");
  ASSERT_TRUE(away.request.Send(u"", {}));
  EXPECT_EQ(away.request.StatusCode(), 302u);
  EXPECT_EQ(ReadAll(away.request), "gone");
}

TEST_F(InternetTest, OtherVerbsAreNeverRedirected) {
  server_.On([](const Request&) { return Reply::Status(301).Header("Location", "/2"); });
  for (const TextView verb : {u"DELETE", u"PROPFIND", u"MKCOL"}) {
    Client client(server_, verb, u"/1");
    ASSERT_TRUE(client.request.Send(u"", {}));
    EXPECT_EQ(client.request.StatusCode(), 301u);
  }
  EXPECT_THAT(server_.lines(), ElementsAre("DELETE /1", "PROPFIND /1", "MKCOL /1"));
}

TEST_F(InternetTest, RedirectsWithoutEndAreGivenUp) {
  server_.On([](const Request&) { return Reply::Status(301).Header("Location", "/1"); });
  Client client(server_, u"GET", u"/1");
  ASSERT_TRUE(client.request.Send(u"", {}));
  EXPECT_EQ(client.request.StatusCode(), 301u);
}

class ProxyTest : public InternetTest {
 protected:
  Text Proxy() const { return server_.host() + u":80"; }
};

TEST_F(ProxyTest, ANamedProxyIsAskedForTheWholeUrl) {
  server_.Enqueue(Reply::Status(200).Body("by proxy"));
  InternetSession session(u"Test Agent", AccessType::kNamedProxy, Proxy());
  HttpConnection connection(session, u"server.invalid", 80, u"", u"");
  HttpRequest request(connection, u"GET", u"/a%20b", u"", kFlagNoCacheWrite);
  request.SetOption(kOptionProxyUser, u"user", 4);
  request.SetOption(kOptionProxyPassword, u"password", 4);
  ASSERT_TRUE(request.Send(u"", {}));
  EXPECT_EQ(ReadAll(request), "by proxy");
  const Request seen = server_.requests().at(0);
  EXPECT_THAT(seen.target,
              ::testing::AnyOf("http://server.invalid/a%20b", "http://server.invalid:80/a%20b"));
  EXPECT_EQ(seen.Header("Host"), "server.invalid");
}

TEST_F(ProxyTest, AProxyGetsItsUserAndTheGivenLengthOfThePassword) {
  server_.On([](const Request& request) {
    return request.Header("Proxy-Authorization") == "Basic dXNlcjpwYXNz"  // user:pass
               ? Reply::Status(200)
               : Reply::Status(407).Header("Proxy-Authenticate", "Basic realm=\"p\"");
  });
  InternetSession session(u"Test Agent", AccessType::kNamedProxy, Proxy());
  HttpConnection connection(session, u"server.invalid", 80, u"", u"");
  HttpRequest cut(connection, u"GET", u"/", u"", kFlagNoCacheWrite);
  cut.SetOption(kOptionProxyUser, u"user", 4);
  cut.SetOption(kOptionProxyPassword, u"password", 4);
  ASSERT_TRUE(cut.Send(u"", {}));
  EXPECT_EQ(cut.StatusCode(), 200u);
  HttpRequest beyond(connection, u"GET", u"/", u"", kFlagNoCacheWrite);
  beyond.SetOption(kOptionProxyUser, u"user", 4);
  beyond.SetOption(kOptionProxyPassword, u"pass", 400);
  ASSERT_TRUE(beyond.Send(u"", {}));
  EXPECT_EQ(beyond.StatusCode(), 200u);
}

TEST_F(ProxyTest, AProxysRefusalIsAReply) {
  server_.On([](const Request&) {
    return Reply::Status(407).Header("Proxy-Authenticate", "Basic realm=\"p\"").Body("no");
  });
  InternetSession session(u"Test Agent", AccessType::kNamedProxy, Proxy());
  HttpConnection connection(session, u"server.invalid", 80, u"", u"");
  HttpRequest request(connection, u"GET", u"/", u"", kFlagNoCacheWrite);
  ASSERT_TRUE(request.Send(u"", {}));
  EXPECT_EQ(request.StatusCode(), 407u);
}

TEST_F(ProxyTest, ASecureRequestAsksTheProxyForATunnel) {
  server_.On([](const Request&) { return Reply::Status(403).Closing(); });
  InternetSession session(u"Test Agent", AccessType::kNamedProxy, Proxy());
  HttpConnection connection(session, u"server.invalid", 443, u"", u"");
  HttpRequest request(connection, u"GET", u"/", u"", kFlagSecure);
  const uint32_t code = ErrorOf([&request] { request.Send(u"", {}); });
  EXPECT_TRUE(code != 0 || request.StatusCode() == 403u);
  EXPECT_THAT(server_.lines(), ElementsAre("CONNECT server.invalid:443"));
}

}  // namespace
}  // namespace zv::testing
