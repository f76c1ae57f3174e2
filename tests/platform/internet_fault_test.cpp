// What comes of servers that break off, stall, lie or are not there.
#include <chrono>
#include <thread>

#include "tests/platform/internet_fixture.h"
#include "tests/support/socket.h"

namespace zv::testing {
namespace {

using ::testing::AnyOf;

// Far below what the waits would take by default, far above what a slow machine needs.
constexpr uint32_t kShortTimeout = 300;

// Wine reports a time-out as an aborted connection.
const auto kTimedOut = AnyOf(12002u, 12030u);
const auto kBroken = AnyOf(12030u, 12031u);

class Stopwatch {
 public:
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

TEST_F(InternetTest, NothingListensThere) {
  HttpServer other;
  InternetSession session(u"Test Agent", AccessType::kDirect, u"");
  HttpConnection connection(session, other.host(), 9, u"", u"");
  HttpRequest request(connection, u"GET", u"/", u"", 0);
  EXPECT_EQ(ErrorOf([&request] { request.Send(u"", {}); }), 12029u);
  EXPECT_EQ(request.StatusCode(), 0u);
  HttpRequest upload(connection, u"PUT", u"/", u"", 0);
  EXPECT_EQ(ErrorOf([&upload] {
              upload.Begin(1);
              upload.Write("x", 1);
              upload.End();
            }),
            12029u);
}

TEST_F(InternetTest, TheHostHasNoAddress) {
  InternetSession session(u"Test Agent", AccessType::kDirect, u"");
  HttpConnection connection(session, u"nobody.invalid", 80, u"", u"");
  HttpRequest request(connection, u"GET", u"/", u"", 0);
  EXPECT_EQ(ErrorOf([&request] { request.Send(u"", {}); }), 12007u);
}

TEST_F(InternetTest, AnEmptyHostIsRefusedAtOnce) {
  InternetSession session(u"Test Agent", AccessType::kDirect, u"");
  EXPECT_NE(ErrorOf([&session] { HttpConnection(session, u"", 80, u"", u""); }), 0u);
}

TEST_F(InternetTest, OptionsThatAreNotKnownAreRefused) {
  Client client(server_, u"GET", u"/");
  EXPECT_NE(ErrorOf([&client] { client.request.SetOption(99999, 1); }), 0u);
  EXPECT_NE(ErrorOf([&client] { client.request.QueryOption(99999); }), 0u);
}

TEST_F(InternetTest, SecurityFlagsAreKept) {
  Client client(server_, u"GET", u"/");
  const uint32_t before = client.request.QueryOption(kOptionSecurityFlags);
  client.request.SetOption(kOptionSecurityFlags, before | 0x3180);
  EXPECT_EQ(client.request.QueryOption(kOptionSecurityFlags) & 0x3180, 0x3180u);
}

TEST_F(InternetTest, AServerThatClosesWithoutAReply) {
  server_.On([](const Request&) { return Reply::Drop(); });
  Client client(server_, u"GET", u"/");
  EXPECT_THAT(ErrorOf([&client] { client.request.Send(u"", {}); }), AnyOf(12030u, 12031u, 12152u));
  EXPECT_EQ(client.request.StatusCode(), 0u);
}

TEST_F(InternetTest, AServerThatResets) {
  server_.On([](const Request&) { return Reply::Reset(); });
  Client client(server_, u"PROPFIND", u"/");
  EXPECT_THAT(ErrorOf([&client] { client.request.Send(u"", "<body/>"); }), kBroken);
}

TEST_F(InternetTest, AServerThatTalksGarbage) {
  server_.On(
      [](const Request&) { return Reply::Raw("\x16\x03 no such thing as a reply\r\n\r\n"); });
  Client client(server_, u"GET", u"/");
  EXPECT_THAT(ErrorOf([&client] { client.request.Send(u"", {}); }), AnyOf(12030u, 12152u));
}

TEST_F(InternetTest, AServerThatNeverReplies) {
  server_.On([](const Request&) { return Reply::Silence(); });
  Client client(server_, u"GET", u"/");
  SetTimeouts(client.request, kShortTimeout);
  const Stopwatch watch;
  EXPECT_THAT(ErrorOf([&client] { client.request.Send(u"", {}); }), kTimedOut);
  EXPECT_LT(watch.seconds(), 5.0);
}

TEST_F(InternetTest, AServerThatStallsWithinABody) {
  server_.On(
      [](const Request&) { return Reply::Status(200).LongBody(200'000).StallAfter(100'000); });
  Client client(server_, u"GET", u"/");
  SetTimeouts(client.request, kShortTimeout);
  ASSERT_TRUE(client.request.Send(u"", {}));
  std::string body(100'000, '\0');
  ASSERT_EQ(client.request.Read(body.data(), body.size()), body.size());
  EXPECT_TRUE(body == PatternBytes(0, body.size()));
  const Stopwatch watch;
  EXPECT_THAT(ErrorOf([&] { client.request.Read(body.data(), body.size()); }), kTimedOut);
  EXPECT_LT(watch.seconds(), 5.0);
}

TEST_F(InternetTest, TheHeadIsThereWhileTheBodyStalls) {
  server_.On([](const Request&) { return Reply::Status(200).LongBody(1000).StallAfter(0); });
  Client client(server_, u"GET", u"/");
  SetTimeouts(client.request, kShortTimeout);
  ASSERT_TRUE(client.request.Send(u"", {}));
  EXPECT_EQ(client.request.StatusCode(), 200u);
  server_.Release();
  EXPECT_EQ(ReadAll(client.request), PatternBytes(0, 1000));
}

TEST_F(InternetTest, APauseShorterThanTheTimeoutIsNoStall) {
  server_.On([](const Request&) {
    return Reply::Status(200).LongBody(40, [](uint64_t offset, size_t) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      return PatternBytes(offset, 1);
    });
  });
  Client client(server_, u"GET", u"/");
  SetTimeouts(client.request, kShortTimeout);
  ASSERT_TRUE(client.request.Send(u"", {}));
  EXPECT_EQ(ReadAll(client.request), PatternBytes(0, 40));  // takes longer than one time-out
}

TEST_F(InternetTest, ABodyShorterThanItsLengthThrowsAfterItsBytes) {
  server_.On(
      [](const Request&) { return Reply::Status(200).LongBody(500'000).CloseAfter(200'000); });
  Client client(server_, u"GET", u"/");
  ASSERT_TRUE(client.request.Send(u"", {}));
  std::string body;
  EXPECT_THAT(ErrorOf([&] {
                std::string buffer(51200, '\0');
                while (const size_t got = client.request.Read(buffer.data(), buffer.size())) {
                  body.append(buffer, 0, got);
                }
              }),
              kBroken);
  EXPECT_TRUE(body == PatternBytes(0, 200'000));
}

TEST_F(InternetTest, ABodyThatIsResetThrows) {
  server_.On(
      [](const Request&) { return Reply::Status(200).LongBody(500'000).ResetAfter(200'000); });
  Client client(server_, u"GET", u"/");
  EXPECT_THAT(ErrorOf([&client] {
                client.request.Send(u"", {});
                ReadAll(client.request);
              }),
              kBroken);
}

TEST_F(InternetTest, ABodyLongerThanItsLengthIsCut) {
  server_.Enqueue(Reply::Status(200).Body("0123456789").SayLength(4).Closing());
  Client client(server_, u"GET", u"/");
  ASSERT_TRUE(client.request.Send(u"", {}));
  EXPECT_EQ(ReadAll(client.request), "0123");
}

TEST_F(InternetTest, AnEarlyReplyIsSeenAtTheEnd) {
  server_.OnHead([](const Request&) { return BodyRule::ReplyAfter(0); });
  server_.On([](const Request&) { return Reply::Status(507); });
  Client client(server_, u"PUT", u"/");
  ASSERT_TRUE(client.request.Begin(3'000'000));
  WriteAll(client.request, PatternBytes(0, 3'000'000));
  ASSERT_TRUE(client.request.End());
  EXPECT_EQ(client.request.StatusCode(), 507u);
}

TEST_F(InternetTest, AServerThatClosesWithinAnUpload) {
  for (const BodyRule rule : {BodyRule::CloseAfter(102'400), BodyRule::ResetAfter(102'400)}) {
    server_.OnHead([rule](const Request&) { return rule; });
    Client client(server_, u"PUT", u"/");
    SetTimeouts(client.request, 5000);
    const Stopwatch watch;
    EXPECT_THAT(ErrorOf([&client] {
                  client.request.Begin(50'000'000);
                  WriteAll(client.request, PatternBytes(0, 50'000'000));
                  client.request.End();
                }),
                kBroken);
    EXPECT_LT(watch.seconds(), 4.0);
    EXPECT_EQ(client.request.StatusCode(), 0u);
    EXPECT_EQ(server_.requests().back().body_size, 102'400u);
  }
}

TEST_F(InternetTest, AServerThatStopsTakingAnUpload) {
  server_.OnHead([](const Request&) { return BodyRule::StallAfter(1000); });
  Client client(server_, u"PUT", u"/");
  SetTimeouts(client.request, kShortTimeout);
  const Stopwatch watch;
  EXPECT_THAT(ErrorOf([&client] {
                const std::string piece = PatternBytes(0, 1'000'000);
                client.request.Begin(200'000'000);
                for (int i = 0; i < 200; ++i) client.request.Write(piece.data(), piece.size());
                client.request.End();
              }),
              kTimedOut);
  EXPECT_LT(watch.seconds(), 8.0);
}

TEST_F(InternetTest, AnUploadIsNotEndedBeforeItsLastByte) {
  Client client(server_, u"PUT", u"/");
  ASSERT_TRUE(client.request.Begin(10));
  client.request.Write("12345", 5);
  EXPECT_FALSE(client.request.End());
  EXPECT_EQ(LastError(), 12019u);
  EXPECT_NE(ErrorOf([&client] { client.request.Write("1234567", 7); }), 0u);
}

TEST_F(InternetTest, ALongBodyMayBeLeftUnread) {
  server_.On([](const Request&) { return Reply::Status(200).LongBody(10'000'000); });
  for (int i = 0; i < 3; ++i) {
    Client client(server_, u"GET", u"/");
    ASSERT_TRUE(client.request.Send(u"", {}));
    EXPECT_EQ(client.request.Header(u"Content-Length"), u"10000000");
  }
}

TEST_F(InternetTest, AnUploadGivenUpInItsMiddleEndsItsConnection) {
  server_.On([](const Request&) { return Reply::Status(200); });
  {
    Client client(server_, u"PUT", u"/");
    ASSERT_TRUE(client.request.Begin(1000));
    client.request.Write("12345", 5);
  }
  Client client(server_, u"GET", u"/");
  ASSERT_TRUE(client.request.Send(u"", {}));
  EXPECT_EQ(client.request.StatusCode(), 200u);
  EXPECT_EQ(server_.connection_count(), 2u);
  ASSERT_TRUE(server_.WaitForRequests(2));
  for (const Request& request : server_.requests()) {
    EXPECT_EQ(request.body_complete, request.verb == "GET");
  }
}

}  // namespace
}  // namespace zv::testing
