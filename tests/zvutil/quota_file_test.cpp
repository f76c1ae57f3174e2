#include "zvutil/quota_file.h"

#include "tests/zvutil/zvutil_fixture.h"

namespace zv::testing {
namespace {

Text Set(TextView text) { return WithProfileEntry(text, u"ZVSYNC", u"ZVSyncUsedQuota", u"5"); }

TEST(ProfileEntry, IsAddedWithItsSectionWhenThereIsNone) {
  EXPECT_EQ(Set(u""), u"[ZVSYNC]\r\nZVSyncUsedQuota=5\r\n");
  EXPECT_EQ(Set(u"[Other]\r\nx=1"), u"[Other]\r\nx=1\r\n[ZVSYNC]\r\nZVSyncUsedQuota=5\r\n");
}

TEST(ProfileEntry, TakesThePlaceOfTheOldOneWhateverItsCase) {
  EXPECT_EQ(Set(u"[a]\r\nZVSyncUsedQuota=1\r\n[zvsync]\r\nu=2\r\n zvsyncusedQUOTA = 77\r\nv=3\r\n"),
            u"[a]\r\nZVSyncUsedQuota=1\r\n[zvsync]\r\nu=2\r\nZVSyncUsedQuota=5\r\nv=3\r\n");
}

TEST(ProfileEntry, IsAddedAtItsSectionsEndBeforeEmptyLines) {
  EXPECT_EQ(Set(u"[ZVSYNC]\nu=2\n\n[b]\nc=1\n"),
            u"[ZVSYNC]\nu=2\nZVSyncUsedQuota=5\r\n\n[b]\nc=1\n");
}

class QuotaFileTest : public SyncAccountTest {};

TEST_F(QuotaFileTest, IsWhatTheWorkerReads) {
  EXPECT_TRUE(StoreSyncUsedQuota(7'340'032));
  EXPECT_EQ(QuotaFile(), "[ZVSYNC]\r\nZVSyncUsedQuota=7340032\r\n");
  EXPECT_EQ(GetSyncUsedQuota(), 7'340'032);
  EXPECT_TRUE(StoreSyncUsedQuota(0));
  EXPECT_EQ(GetSyncUsedQuota(), 0);
}

TEST_F(QuotaFileTest, KeepsForeignBytes) {
  WriteFileBytes(Journal(u"ZVCOMMON\\quota.ini"), "[\xE4]\r\n\xFC=\xDF\r\n");
  EXPECT_TRUE(StoreSyncUsedQuota(1));
  EXPECT_EQ(QuotaFile(), "[\xE4]\r\n\xFC=\xDF\r\n[ZVSYNC]\r\nZVSyncUsedQuota=1\r\n");
}

TEST_F(QuotaFileTest, StaysWideWhenItWas) {
  WriteFileBytes(Journal(u"ZVCOMMON\\quota.ini"),
                 "\xFF\xFE" + ToUtf16LeBytes(u"[ZVSYNC]\r\nZVSyncUsedQuota=9\r\n\u65E5=1\r\n"));
  EXPECT_TRUE(StoreSyncUsedQuota(1));
  EXPECT_EQ(QuotaFile(),
            "\xFF\xFE" + ToUtf16LeBytes(u"[ZVSYNC]\r\nZVSyncUsedQuota=1\r\n\u65E5=1\r\n"));
  EXPECT_EQ(GetSyncUsedQuota(), 1);
}

}  // namespace
}  // namespace zv::testing
