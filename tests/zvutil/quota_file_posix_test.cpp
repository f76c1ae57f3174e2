// A quota file that cannot be read, and one that does not fit on the disk.
#include "zvutil/quota_file.h"

#include <sys/stat.h>

#include <filesystem>

#include "platform/clock_testing.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/home.h"
#include "tests/support/full_disk.h"
#include "tests/zvutil/zvutil_fixture.h"
#include "zvutil/operations.h"

namespace zv::testing {
namespace {

class LostQuotaFile : public SyncAccountTest {
 protected:
  LostQuotaFile() { MakeFolders(Journal(u"ZVCOMMON")); }

  static std::string Folder() { return HomeFolder() + "/drives/C/Stratel Drive/ZVCOMMON"; }
  static void FillDisk() {
    std::filesystem::create_symlink("/dev/full", Folder() + "/quota.ini.new");
  }
  SyncLogin login() {
    return {
        .user = Text(kUser), .password = Text(kPassword), .web_server = account_.server().host()};
  }
};

TEST_F(LostQuotaFile, ThatCannotBeOpenedIsNotReplaced) {
  const std::string file = Folder() + "/quota.ini";
  ASSERT_EQ(::mknod(file.c_str(), S_IFSOCK | 0600, 0), 0);
  EXPECT_FALSE(StoreSyncUsedQuota(1));
  EXPECT_TRUE(std::filesystem::is_socket(file));
}

TEST_F(LostQuotaFile, OfAFullDiskStaysAsItWasAndLeavesNothingBesideIt) {
  ASSERT_TRUE(StoreSyncUsedQuota(7));
  {
    const FullDisk full(8);
    EXPECT_THROW(StoreSyncUsedQuota(8), Error);
  }
  EXPECT_EQ(QuotaFile(), "[ZVSYNC]\r\nZVSyncUsedQuota=7\r\n");
  EXPECT_TRUE(IsAbsent(GetSyncQuotaFile() + u".new"));
}

TEST_F(LostQuotaFile, OfAFullDiskFailsNoDeletion) {
  account_.AddFile("/a.txt", "12345", 1);
  WriteJournal(u"Delete_src.txt", u"F_/a.txt");
  FillDisk();
  EXPECT_TRUE(DeleteSyncEntry(login()));
  EXPECT_FALSE(account_.Has("/a.txt"));
}

TEST_F(LostQuotaFile, OfAFullDiskFailsNoListing) {
  WriteJournal(u"Source.txt", u"/");
  FillDisk();
  std::vector<DirectoryEntry> entries;
  EXPECT_TRUE(ListSyncFolder(login(), &entries));
  EXPECT_EQ(entries.size(), 2U);
}

TEST_F(LostQuotaFile, OfAFullDiskFailsNoUpload) {
  const Text staged = Journal(u"cache@anna\\a.txt");
  WriteFileBytes(staged, "content");
  WriteJournal(u"Upload_dst.txt", u"/");
  WriteJournal(u"Upload_src.txt", u"F_" + staged);
  FillDisk();
  const VirtualClock clock;
  EXPECT_TRUE(UploadSyncFile(login()));
  EXPECT_EQ(account_.Content("/a.txt"), "content");
}

}  // namespace
}  // namespace zv::testing
