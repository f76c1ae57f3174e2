// With more than one drive: on Windows C: is the only one that every machine has.
#include "config/folders.h"
#include "config/settings.h"
#include "tests/support/test_home.h"

namespace zv {
namespace {

using testing::WriteFileBytes;

class FoldersOfSeveralDrives : public testing::HomeTest {};

TEST_F(FoldersOfSeveralDrives, SyncUsedQuotaComesFromTheApplicationsDrive) {
  WriteFileBytes(u"C:\\Stratel Drive\\ZVCOMMON\\quota.ini", "[ZVSYNC]\r\nZVSyncUsedQuota=1\r\n");
  WriteFileBytes(u"D:\\Stratel Drive\\ZVCOMMON\\quota.ini", "[ZVSYNC]\r\nZVSyncUsedQuota=2\r\n");
  home_.SetSetting(kApplicationKey, u"Application Path", u"D:\\Apps\\Host");
  EXPECT_EQ(GetSyncUsedQuota(), 2);
}

}  // namespace
}  // namespace zv
