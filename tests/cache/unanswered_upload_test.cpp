// Files that have the right length on the server although it never took them.
#include <gtest/gtest.h>

#include "platform/clock_testing.h"
#include "tests/cache/cache_fixture.h"

namespace zv::testing {
namespace {

class UnansweredUpload : public CacheTest {
 protected:
  UnansweredUpload() { account_.AddFolder("/docs", kEarly); }
  std::optional<Text> PendingReason(TextView path) {
    const auto pending = cache().pending().Find(path);
    return pending ? std::optional(pending->reason) : std::nullopt;
  }

  VirtualClock clock_;
};

TEST_F(UnansweredUpload, AnEmptyFileThatTheServerRefusesStaysPendingUntilItIsTaken) {
  account_.Force("PUT", 507, 1);
  Store(u"/docs/a.txt", "");
  cache().TransferCachedFile(u"/docs/a.txt", true);
  EXPECT_EQ(PendingReason(u"/docs/a.txt"), u"Insufficient Storage (507)");
  EXPECT_FALSE(account_.Has("/docs/a.txt"));
  EXPECT_TRUE(cache().TransferCachedFile(u"/docs/a.txt", true));
  EXPECT_EQ(PendingReason(u"/docs/a.txt"), std::nullopt);
  EXPECT_TRUE(account_.Has("/docs/a.txt"));
}

TEST_F(UnansweredUpload, AFileOverAnOlderVersionOfItsLengthStaysPendingUntilItIsTaken) {
  account_.AddFile("/docs/a.txt", "older123", kEarly);
  account_.server().Enqueue(Reply::Drop());
  Store(u"/docs/a.txt", "newer123");
  cache().TransferCachedFile(u"/docs/a.txt", true);
  const auto reason = PendingReason(u"/docs/a.txt");
  ASSERT_TRUE(reason);
  EXPECT_NE(*reason, u"");
  EXPECT_EQ(account_.Content("/docs/a.txt"), "older123");
  EXPECT_EQ(Content(u"/docs/a.txt"), "newer123");
  EXPECT_TRUE(cache().TransferCachedFile(u"/docs/a.txt", true));
  EXPECT_EQ(PendingReason(u"/docs/a.txt"), std::nullopt);
  EXPECT_EQ(account_.Content("/docs/a.txt"), "newer123");
}

}  // namespace
}  // namespace zv::testing
