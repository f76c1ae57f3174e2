#include "config/folders.h"

#include "config/settings.h"
#include "platform/shell.h"
#include "tests/support/test_home.h"

namespace zv {
namespace {

class Folders : public testing::HomeTest {
 protected:
  void SetApplicationPath(TextView path) const {
    home_.SetSetting(kApplicationKey, u"Application Path", path);
  }
  static void WriteQuotaFile(TextView file, std::string_view contents) {
    testing::WriteFileBytes(file, contents);
  }
};

TEST_F(Folders, ApplicationPathIsEmptyWithoutItsKey) { EXPECT_EQ(GetApplicationPath(), u""); }

TEST_F(Folders, ApplicationPathIsWhatTheKeySays) {
  SetApplicationPath(u"C:\\Apps\\Host");
  EXPECT_EQ(GetApplicationPath(), u"C:\\Apps\\Host");
}

TEST_F(Folders, AppDataLiesInTheUsersLocalFolder) {
  ASSERT_FALSE(LocalAppDataFolder().empty());
  EXPECT_EQ(GetAppDataFolder(), LocalAppDataFolder() + u"\\Orvelan\\Cirrux");
}

TEST_F(Folders, SyncRootIsOnTheApplicationsDrive) {
  SetApplicationPath(u"D:\\Apps\\Host");
  EXPECT_EQ(GetSyncFolderRoot(), u"D:\\Stratel Drive");
}

TEST_F(Folders, SyncRootOfAShortPathBeginsWithAllOfIt) {
  SetApplicationPath(u"D:");
  EXPECT_EQ(GetSyncFolderRoot(), u"D:Stratel Drive");
  SetApplicationPath(u"");
  EXPECT_EQ(GetSyncFolderRoot(), u"Stratel Drive");
}

TEST_F(Folders, SyncRootIsEmptyWithoutTheApplicationsKey) { EXPECT_EQ(GetSyncFolderRoot(), u""); }

TEST_F(Folders, SyncRootIsRelativeWithoutTheValue) {
  home_.SetSetting(kApplicationKey, u"Other", u"x");
  EXPECT_EQ(GetSyncFolderRoot(), u"Stratel Drive");
}

TEST_F(Folders, SyncUsedQuotaComesFromTheQuotaFile) {
  SetApplicationPath(u"C:\\Apps\\Host");
  WriteQuotaFile(u"C:\\Stratel Drive\\ZVCOMMON\\quota.ini",
                 "[ZVSYNC]\r\nZVSyncUsedQuota=4831838208\r\n");
  EXPECT_EQ(GetSyncUsedQuota(), 4831838208);
}

TEST_F(Folders, SyncUsedQuotaIsNotTheOneOfAnotherDrive) {
  WriteQuotaFile(u"C:\\Stratel Drive\\ZVCOMMON\\quota.ini", "[ZVSYNC]\r\nZVSyncUsedQuota=1\r\n");
  SetApplicationPath(u"D:\\Apps\\Host");
  EXPECT_EQ(GetSyncUsedQuota(), 0);
}

TEST_F(Folders, SyncUsedQuotaIsZeroWithoutTheFile) {
  EXPECT_EQ(GetSyncUsedQuota(), 0);
  SetApplicationPath(u"C:\\Apps\\Host");
  EXPECT_EQ(GetSyncUsedQuota(), 0);
}

TEST_F(Folders, SyncUsedQuotaIsZeroWithoutTheSection) {
  SetApplicationPath(u"C:\\Apps\\Host");
  WriteQuotaFile(u"C:\\Stratel Drive\\ZVCOMMON\\quota.ini", "[OTHER]\r\nZVSyncUsedQuota=12\r\n");
  EXPECT_EQ(GetSyncUsedQuota(), 0);
}

TEST_F(Folders, SyncUsedQuotaThatIsNoNumberIsZero) {
  SetApplicationPath(u"C:\\Apps\\Host");
  WriteQuotaFile(u"C:\\Stratel Drive\\ZVCOMMON\\quota.ini",
                 "[ZVSYNC]\r\nZVSyncUsedQuota=plenty\r\n");
  EXPECT_EQ(GetSyncUsedQuota(), 0);
}

}  // namespace
}  // namespace zv
