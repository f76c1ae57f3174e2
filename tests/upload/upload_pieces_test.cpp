// What goes in the first write of an upload, seen by ending it after that one.
#include <utility>

#include "tests/upload/secure_server.h"
#include "tests/upload/upload_fixture.h"

namespace zv::testing {
namespace {

// A file's size and what of it is sent first.
class FirstPieceTest : public UploadTest,
                       public ::testing::WithParamInterface<std::pair<uint32_t, uint32_t>> {};

TEST_P(FirstPieceTest, IsAChunkAtTheMost) {
  const auto [size, first] = GetParam();
  const SecureServer secure(server_.address());
  // The client waits for the proxy's tunnel after it published the beginning. The cancel that is
  // asked for meanwhile is seen at the next publication, which follows the first write.
  server_.On([this](const Request&) {
    AskToCancel(kResource);
    return Reply::Tunnel(server_.address(), 443);
  });
  SetAccount({.ssl = true, .proxy_name = server_.host(), .proxy_port = server_.port()});
  MakeSource(PatternBytes(5, size));
  CBackupDAV client;
  int16_t retry_count = 1;
  EXPECT_EQ(client.CacheUploadFile(kSource, kResource, retry_count, 0), 0U);
  EXPECT_EQ(retry_count, 0);
  EXPECT_EQ(ReadProgress(), std::make_tuple(1, Text(kResource), size, first));
}

INSTANTIATE_TEST_SUITE_P(Sizes, FirstPieceTest,
                         ::testing::Values(std::pair(51199U, 51199U), std::pair(51200U, 51200U),
                                           std::pair(51201U, 51200U)));

}  // namespace
}  // namespace zv::testing
