// What only the client of our own promises.
#include <atomic>

#include "tests/platform/internet_fixture.h"

namespace zv::testing {
namespace {

TEST_F(InternetTest, ALongBodyLeftUnreadIsDroppedWithItsConnection) {
  const auto sent = std::make_shared<std::atomic<uint64_t>>(0);
  server_.On([sent](const Request&) {
    return Reply::Status(200).LongBody(uint64_t{4} << 30, [sent](uint64_t offset, size_t size) {
      *sent += size;
      return PatternBytes(offset, size);
    });
  });
  for (int i = 0; i < 3; ++i) {
    Client client(server_, u"GET", u"/");
    ASSERT_TRUE(client.request.Send(u"", {}));
    EXPECT_EQ(client.request.Header(u"Content-Length"), u"4294967296");
  }
  EXPECT_EQ(server_.connection_count(), 3u);
  EXPECT_LT(*sent, uint64_t{100'000'000});
}

TEST_F(InternetTest, AShortBodyLeftUnreadKeepsItsConnection) {
  server_.On([](const Request&) { return Reply::Status(200).LongBody(100'000); });
  for (int i = 0; i < 5; ++i) {
    Client client(server_, u"GET", u"/");
    ASSERT_TRUE(client.request.Send(u"", {}));
  }
  EXPECT_EQ(server_.connection_count(), 1u);
}

TEST_F(InternetTest, AReaderThatRestsIsNotFlooded) {
  const auto sent = std::make_shared<std::atomic<uint64_t>>(0);
  server_.On([sent](const Request&) {
    return Reply::Status(200).LongBody(uint64_t{1} << 30, [sent](uint64_t offset, size_t size) {
      *sent += size;
      return PatternBytes(offset, size);
    });
  });
  Client client(server_, u"GET", u"/");
  ASSERT_TRUE(client.request.Send(u"", {}));
  std::string buffer(51200, '\0');
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(client.request.Read(buffer.data(), buffer.size()), buffer.size());
  }
  EXPECT_LT(*sent, uint64_t{100'000'000});
}

TEST_F(InternetTest, TimeoutsSaySo) {
  server_.On([](const Request&) { return Reply::Silence(); });
  Client client(server_, u"GET", u"/");
  SetTimeouts(client.request, 100);
  try {
    client.request.Send(u"", {});
    FAIL() << "no error";
  } catch (const Error& error) {
    EXPECT_EQ(error.code(), 12002u);
    EXPECT_EQ(error.text(), u"The operation timed out");
  }
}

TEST_F(InternetTest, AHeadWithoutEndIsGivenUp) {
  server_.On([](const Request&) {
    Reply reply = Reply::Status(200);
    for (int i = 0; i < 100; ++i) reply.Header("X-Long", std::string(20'000, 'x'));
    return reply;
  });
  Client client(server_, u"GET", u"/");
  EXPECT_EQ(ErrorOf([&client] { client.request.Send(u"", {}); }), 12152u);
}

TEST_F(InternetTest, AHostCannotReachIntoTheUrl) {
  InternetSession session(u"Test Agent", AccessType::kDirect, u"");
  HttpConnection connection(session, server_.host() + u"/stolen?", 80, u"", u"");
  HttpRequest request(connection, u"GET", u"/", u"", 0);
  EXPECT_EQ(ErrorOf([&request] { request.Send(u"", {}); }), 12005u);
  EXPECT_EQ(server_.request_count(), 0u);
}

TEST_F(InternetTest, TheEnvironmentsProxiesCountForNothing) {
  server_.On([](const Request&) { return Reply::Status(200); });
  setenv("http_proxy", "http://127.0.0.1:9/", 1);
  Client client(server_, u"GET", u"/");
  EXPECT_TRUE(client.request.Send(u"", {}));
  unsetenv("http_proxy");
}

TEST_F(InternetTest, AProxysRefusalOfATunnelIsAReply) {
  server_.On([](const Request&) { return Reply::Status(407).Closing(); });
  InternetSession session(u"Test Agent", AccessType::kNamedProxy, server_.host() + u":80");
  HttpConnection connection(session, u"server.invalid", 443, u"", u"");
  HttpRequest request(connection, u"GET", u"/", u"", kFlagSecure);
  ASSERT_TRUE(request.Send(u"", {}));
  EXPECT_EQ(request.StatusCode(), 407u);
  EXPECT_EQ(request.StatusText(), u"Proxy Authentication Required");
  char byte;
  EXPECT_EQ(request.Read(&byte, 1), 0u);
}

}  // namespace
}  // namespace zv::testing
