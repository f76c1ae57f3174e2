#include "platform/error.h"
#include "platform/file.h"
#include "tests/support/full_disk.h"
#include "tests/zvutil/zvutil_fixture.h"
#include "zvutil/quota_file.h"

namespace zv::testing {
namespace {

class QuotaFileOnAFullDisk : public SyncAccountTest {};

TEST_F(QuotaFileOnAFullDisk, StaysAsItWasAndLeavesNothingBesideIt) {
  ASSERT_TRUE(StoreSyncUsedQuota(7));
  {
    const FullDisk full(8);
    EXPECT_THROW(StoreSyncUsedQuota(8), Error);
  }
  EXPECT_EQ(QuotaFile(), "[ZVSYNC]\r\nZVSyncUsedQuota=7\r\n");
  EXPECT_TRUE(IsAbsent(GetSyncQuotaFile() + u".new"));
}

}  // namespace
}  // namespace zv::testing
