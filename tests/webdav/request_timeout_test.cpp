// The time-outs that a request was given. Wine's client can be told them, but not asked for them.
#include "tests/webdav/replies.h"

namespace zv::testing {
namespace {

using RequestTimeoutTest = ClientTest;

TEST_F(RequestTimeoutTest, EachVerbHasItsTimeouts) {
  server_.On([](const Request&) { return Reply::Status(204); });
  OpenClient client;
  const auto check = [&](TextView verb, uint32_t milliseconds) {
    ASSERT_TRUE(client.SendDAVRequest(verb, u"/x"));
    for (const uint32_t option :
         {kOptionConnectTimeout, kOptionReceiveTimeout, kOptionSendTimeout}) {
      EXPECT_EQ(client.request_->QueryOption(option), milliseconds) << ToUtf8(verb);
    }
  };
  check(u"PROPFIND", 45000);
  check(u"DELETE", 80000);
  for (const TextView verb : {u"MKCOL", u"MOVE", u"GET", u"HEAD", u"OPTIONS"}) check(verb, 10000);
}

}  // namespace
}  // namespace zv::testing
