#include "tests/support/http_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/socket.h"

namespace zv::testing {
namespace {

using ::testing::ElementsAre;

// Sends the bytes and reads until the server closes.
std::string Exchange(const HttpServer& server, const std::string& bytes) {
  const Socket socket = Socket::Connect(server.address(), server.port());
  EXPECT_TRUE(socket.is_open());
  EXPECT_TRUE(socket.Send(bytes.data(), bytes.size()));
  socket.ShutDownSending();
  std::string reply;
  char piece[4096];
  while (const size_t got = socket.Receive(piece, sizeof piece)) reply.append(piece, got);
  return reply;
}

TEST(HttpServerTest, KeepsTheRequestAsItCame) {
  HttpServer server;
  Exchange(server,
           "PROPFIND /a%20b HTTP/1.1\r\nDepth:1\r\nX: one\r\nx:  two \r\n"
           "Content-Length: 3\r\n\r\nxyz");
  const Request request = server.requests().at(0);
  EXPECT_EQ(request.verb, "PROPFIND");
  EXPECT_EQ(request.target, "/a%20b");
  EXPECT_EQ(request.version, "HTTP/1.1");
  EXPECT_THAT(request.headers,
              ElementsAre(std::pair("Depth", "1"), std::pair("X", "one"), std::pair("x", "two"),
                          std::pair("Content-Length", "3")));
  EXPECT_EQ(request.Header("X"), "one");
  EXPECT_EQ(request.CountHeaders("x"), 2u);
  EXPECT_EQ(request.body, "xyz");
  EXPECT_TRUE(request.body_complete);
}

TEST(HttpServerTest, SendsGoldenBytes) {
  HttpServer server;
  server.On([](const Request&) { return Reply::Status(207).Header("A", "b").Body("12345"); });
  EXPECT_EQ(Exchange(server, "GET / HTTP/1.1\r\n\r\n"),
            "HTTP/1.1 207 Multi-Status\r\nA: b\r\nContent-Length: 5\r\n\r\n12345");
}

TEST(HttpServerTest, SendsNoBodyWhereNoneBelongs) {
  HttpServer server;
  server.Enqueue(Reply::Status(200).Body("12345"));
  server.Enqueue(Reply::Status(204));
  EXPECT_EQ(Exchange(server, "HEAD / HTTP/1.1\r\n\r\nGET / HTTP/1.1\r\n\r\n"),
            "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nHTTP/1.1 204 No Content\r\n\r\n");
}

TEST(HttpServerTest, AnswersSeveralRequestsOfOneConnectionFromTheQueueThenTheHandler) {
  HttpServer server;
  server.Enqueue(Reply::Status(201));
  server.On([](const Request& request) { return Reply::Status(200).Body(request.target); });
  EXPECT_EQ(
      Exchange(server, "PUT /x HTTP/1.1\r\nContent-Length: 1\r\n\r\nzGET /y HTTP/1.1\r\n\r\n"),
      "HTTP/1.1 201 Created\r\nContent-Length: 0\r\n\r\n"
      "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n/y");
  EXPECT_THAT(server.lines(), ElementsAre("PUT /x", "GET /y"));
  EXPECT_EQ(server.connection_count(), 1u);
}

TEST(HttpServerTest, SendsChunksAndWrongLengthsAndRawBytes) {
  HttpServer server;
  server.Enqueue(Reply::Status(200).Body("abcde").Chunked(2));
  server.Enqueue(Reply::Status(200).Body("abcde").SayLength(9).Closing());
  server.Enqueue(Reply::Status(200).Body("abcde").SayNoLength());
  server.Enqueue(Reply::Raw("garbage"));
  const std::string get = "GET / HTTP/1.1\r\n\r\n";
  EXPECT_EQ(Exchange(server, get + get),
            "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
            "2\r\nab\r\n2\r\ncd\r\n1\r\ne\r\n0\r\n\r\n"
            "HTTP/1.1 200 OK\r\nContent-Length: 9\r\nConnection: close\r\n\r\nabcde");
  EXPECT_EQ(Exchange(server, get), "HTTP/1.1 200 OK\r\n\r\nabcde");
  EXPECT_EQ(Exchange(server, get), "garbage");
}

TEST(HttpServerTest, BreaksTheReplyWhereItIsTold) {
  HttpServer server;
  const std::string get = "GET / HTTP/1.1\r\n\r\n";
  server.Enqueue(Reply::Drop());
  EXPECT_EQ(Exchange(server, get), "");
  server.Enqueue(Reply::Status(200).Body("abcde").CloseAfter(2));
  EXPECT_EQ(Exchange(server, get), "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nab");
}

TEST(HttpServerTest, StallsUntilReleased) {
  HttpServer server;
  server.Enqueue(Reply::Status(200).Body("abcde").StallAfter(2));
  const Socket socket = Socket::Connect(server.address(), server.port());
  const std::string get = "GET / HTTP/1.1\r\n\r\n";
  ASSERT_TRUE(socket.Send(get.data(), get.size()));
  const std::string before = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nab";
  std::string reply(before.size(), '\0');
  for (size_t at = 0; at < reply.size();) {
    const size_t got = socket.Receive(reply.data() + at, reply.size() - at);
    ASSERT_NE(got, 0u);
    at += got;
  }
  EXPECT_EQ(reply, before);
  server.Release();
  char rest[8] = {};
  EXPECT_EQ(socket.Receive(rest, sizeof rest), 3u);
  EXPECT_STREQ(rest, "cde");
}

TEST(HttpServerTest, EndsWhileRepliesStall) {
  HttpServer server;
  server.On([](const Request&) { return Reply::Silence(); });
  const Socket socket = Socket::Connect(server.address(), server.port());
  const std::string get = "GET / HTTP/1.1\r\n\r\n";
  ASSERT_TRUE(socket.Send(get.data(), get.size()));
  EXPECT_TRUE(server.WaitForRequests(1));
}

TEST(HttpServerTest, StopsTakingABodyWhereItIsTold) {
  HttpServer server;
  server.OnHead([](const Request&) { return BodyRule::CloseAfter(4); });
  EXPECT_EQ(Exchange(server, "PUT / HTTP/1.1\r\nContent-Length: 4000\r\n\r\nabcd"), "");
  EXPECT_EQ(server.requests().at(0).body, "abcd");
  EXPECT_FALSE(server.requests().at(0).body_complete);
}

TEST(HttpServerTest, RepliesEarlyAndEndsTheConnection) {
  HttpServer server;
  server.OnHead([](const Request&) { return BodyRule::ReplyAfter(0); });
  server.Enqueue(Reply::Status(507));
  EXPECT_EQ(Exchange(server, "PUT / HTTP/1.1\r\nContent-Length: 4000\r\n\r\nabcd"),
            "HTTP/1.1 507 Insufficient Storage\r\nContent-Length: 0\r\n\r\n");
}

TEST(HttpServerTest, CountsWhatItDoesNotKeep) {
  HttpServer server;
  server.KeepBodies(10);
  std::string seen;
  server.OnBody([&seen](const Request&, std::string_view piece) { seen += piece; });
  const std::string body = PatternBytes(0, 1'000'000);
  Exchange(server, "PUT / HTTP/1.1\r\nContent-Length: 1000000\r\n\r\n" + body);
  EXPECT_EQ(server.requests().at(0).body_size, 1'000'000u);
  EXPECT_EQ(server.requests().at(0).body, body.substr(0, 10));
  EXPECT_TRUE(server.WaitForBodyBytes(1'000'000));
  EXPECT_EQ(seen, body);
}

TEST(HttpServerTest, AnswersRanges) {
  Request request;
  const std::string content = "0123456789";
  EXPECT_EQ(Reply::Content(request, content).Head("GET"),
            "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n");
  request.headers = {{"Range", "bytes=4-"}};
  EXPECT_EQ(
      Reply::Content(request, content).Head("GET"),
      "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 4-9/10\r\nContent-Length: 6\r\n\r\n");
  EXPECT_EQ(Reply::Content(request, content).BodyPiece(0, 99), "456789");
  request.headers = {{"Range", "bytes=2-3"}};
  EXPECT_EQ(Reply::Content(request, content).BodyPiece(0, 99), "23");
  request.headers = {{"Range", "bytes=10-"}};
  EXPECT_EQ(Reply::Content(request, content).Head("GET"),
            "HTTP/1.1 416 Range Not Satisfiable\r\nContent-Range: bytes */10\r\n"
            "Content-Length: 0\r\n\r\n");
  EXPECT_EQ(Reply::Content(request, "").Head("GET"),
            "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
}

TEST(HttpServerTest, PatternIsTheSameFromAnyOffset) {
  const std::string whole = PatternBytes(0, 200'000);
  EXPECT_EQ(PatternBytes(65'000, 100'000), whole.substr(65'000, 100'000));
  EXPECT_NE(whole.substr(0, 1000), whole.substr(1000, 1000));
}

TEST(HttpServerTest, RefusesAnAddressThatIsTaken) {
  HttpServer server;
  EXPECT_THROW(HttpServer(server.address(), server.port()), std::runtime_error);
}

}  // namespace
}  // namespace zv::testing
