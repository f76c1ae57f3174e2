// The exports, called as a host program does that has them linked in.
#include <gtest/gtest.h>

#include <array>

#include "cache/cache_names.h"
#include "include/zvworker/zvworker.h"
#include "platform/file.h"
#include "tests/driver/worker_fixture.h"
#include "worker/progress.h"

namespace zv::testing {
namespace {

class ExportsTest : public WorkerTest {
 protected:
  void SetUp() override {
    home_.SetAccount(server_.host(), kUser, u"secret", {.check_freshness = false});
    MakeFolders(home_.CacheFolder(kUser));
    ServeMemoryAccount();
    ResetProgressDetails();
    SetUsedSpaceMib(0);
  }
};

ZvNetResource NetResource(Text& local_name, Text& remote_name) {
  ZvNetResource resource{};
  resource.local_name = local_name.data();
  resource.remote_name = remote_name.data();
  return resource;
}

TEST_F(ExportsTest, CreateServeQueryAndDeleteADrive) {
  Text local_name = u"Y:";
  Text remote_name = u"\\\\cirrux\\drive";
  const ZvNetResource resource = NetResource(local_name, remote_name);
  EXPECT_EQ(CreateNewDrive(&resource, u"secret", u"user"), ZV_SUCCESS);
  auto polling = Thread::Start([] { return StartPolling(); });
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kInfo));
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kTransfer));
  EXPECT_EQ(AskQuery(u"\\").directory_flag, 1u);
  EXPECT_EQ(GetDriveConnection(u"y:", nullptr, nullptr), ZV_SUCCESS);
  EXPECT_EQ(DeleteNewDrive(u"Y:"), ZV_SUCCESS);
  EXPECT_EQ(polling.Join(), 0u);
  EXPECT_EQ(GetDriveConnection(u"Y:", nullptr, nullptr), ZV_NO_NETWORK);
  EXPECT_EQ(DeleteNewDrive(u"Y:"), ZV_GENERAL_FAILURE);
}

TEST_F(ExportsTest, PassTheStatusOfAFailedLoginOn) {
  server_.On([](const Request&) {
    return Reply::Status(401).Header("WWW-Authenticate", "Basic realm=\"r\"");
  });
  Text local_name = u"Y:";
  Text remote_name = u"\\\\cirrux\\drive";
  const ZvNetResource resource = NetResource(local_name, remote_name);
  EXPECT_EQ(CreateNewDrive(&resource, u"wrong", u"user"), 401u);
  EXPECT_EQ(server_.request_count(), 1u);
}

TEST_F(ExportsTest, TakeNullTextsForEmptyOnes) {
  const ZvNetResource nothing{};
  EXPECT_EQ(CreateNewDrive(nullptr, nullptr, nullptr), ZV_BAD_NET_NAME);
  EXPECT_EQ(CreateNewDrive(&nothing, nullptr, nullptr), ZV_BAD_NET_NAME);
  EXPECT_EQ(DeleteNewDrive(nullptr), ZV_GENERAL_FAILURE);
  EXPECT_EQ(GetDriveConnection(nullptr, nullptr, nullptr), ZV_NO_NETWORK);
  EXPECT_EQ(DeleteListingFile(nullptr), 0u);
  EXPECT_EQ(WrapperUpdate(nullptr, nullptr), 0u);
  EXPECT_EQ(GetInternetDetails(nullptr, nullptr, nullptr, nullptr, ZV_CANCEL_TRANSFER), ZV_IDLE);
  EXPECT_EQ(server_.request_count(), 0u);
}

TEST_F(ExportsTest, TellWhichOfTwoFilesExist) {
  account_.Store("/users/user/Files/b", "content");
  EXPECT_EQ(IsListingFileExist(u"/a", u"/b"), 2u);
  EXPECT_EQ(IsListingFileExist(u"/b", u"/a"), 1u);
  EXPECT_EQ(IsListingFileExist(u"/b", u"/b"), 3u);
  EXPECT_EQ(IsListingFileExist(u"/a", u"/a"), 0u);
}

TEST_F(ExportsTest, DeleteAFileOnTheServer) {
  account_.Store("/users/user/Files/a", "content");
  EXPECT_NE(DeleteListingFile(u"/a"), 0u);
  EXPECT_EQ(account_.Content("/users/user/Files/a"), std::nullopt);
  EXPECT_EQ(DeleteListingFile(u"/a"), 0u);
}

TEST_F(ExportsTest, NeverDeleteTheRoot) {
  EXPECT_EQ(DeleteListingFile(u"/"), 0u);
  EXPECT_EQ(server_.request_count(), 0u);
}

TEST_F(ExportsTest, EnterAFileIntoItsListing) {
  WriteListing(u"/Docs", {u"other.txt?0?5?32?100?200"});
  ZvFindData information{};
  information.size_low = 42;
  EXPECT_NE(WrapperUpdate(u"/Docs/a.txt", &information), 0u);
  EXPECT_EQ(WrapperUpdate(u"/NeverListed/a.txt", &information), 0u);
  const auto listing =
      ReadFileBytes(CacheNames(home_.CacheFolder(kUser)).GetDirRecordName(u"/Docs"));
  ASSERT_TRUE(listing);
  EXPECT_EQ(FromUtf16LeBytes(*listing), u"other.txt?0?5?32?100?200\r\na.txt?0?42?0?0?0\r\n");
}

TEST_F(ExportsTest, CutThePathOfAListingUpdate) {
  WriteListing(u"/", {});
  const ZvFindData information{};
  const Text path = u"/" + Text(300, u'n');
  WrapperUpdate(path.c_str(), &information);
  const auto listing = ReadFileBytes(CacheNames(home_.CacheFolder(kUser)).GetDirRecordName(u"/"));
  ASSERT_TRUE(listing);
  EXPECT_EQ(FromUtf16LeBytes(*listing), Text(258, u'n') + u"?0?0?0?0?0\r\n");
}

TEST_F(ExportsTest, DropContentThatTheServerNoLongerHas) {
  WriteContent(u"/Docs/a.txt", "old");
  EXPECT_EQ(CheckLastModifiedTime(u"Y:\\Docs\\a.txt"), 1u);
  EXPECT_EQ(ReadContent(u"/Docs/a.txt"), std::nullopt);
  EXPECT_EQ(server_.lines(), std::vector<std::string>{"HEAD /users/user/Files/Docs/a%2Etxt"});
}

TEST_F(ExportsTest, CutThePathOfAModificationCheck) {
  const Text path = u"Y:\\" + Text(300, u'n');
  CheckLastModifiedTime(path.c_str());
  EXPECT_EQ(server_.lines(), std::vector{"HEAD /users/user/Files/" + std::string(259 - 3, 'n')});
}

TEST_F(ExportsTest, GiveNoSizeWithoutAScriptServer) {
  home_.RemoveSetting(kConnectionSubKey, kUser);
  EXPECT_EQ(GetFolderSize(u"/Docs"), 0);
}

TEST_F(ExportsTest, ApplyAPendingDeletion) {
  EXPECT_EQ(DeleteCache(), 0u);
  const Text journal = u"C:\\Stratel Drive\\Delete_src.txt";
  WriteFileBytes(journal, ToUtf16LeBytes(u"F_/a.txt\r\n"));
  WriteContent(u"/a.txt", "content");
  EXPECT_EQ(DeleteCache(), 1u);
  EXPECT_EQ(ReadContent(u"/a.txt"), std::nullopt);
  EXPECT_FALSE(FileExists(journal));
}

TEST_F(ExportsTest, GiveTheUsedSpaceInBytes) {
  EXPECT_EQ(GetUsedSpace(), 0u);
  SetUsedSpaceMib(3);
  EXPECT_EQ(GetUsedSpace(), 3'145'728u);
}

TEST_F(ExportsTest, ShowTheCurrentTransfer) {
  SetProgressDetails(TransferKind::kDownload, u"/Docs/a.txt", 10, 20, 0);
  std::array<ZvChar, 260> name{};
  uint32_t first = 0;
  uint32_t second = 0;
  uint32_t elapsed = 0;
  EXPECT_EQ(GetInternetDetails(name.data(), &first, &second, &elapsed, ZV_READ_PROGRESS),
            ZV_DOWNLOAD);
  EXPECT_EQ(TextView(name.data()), u"/Docs/a.txt");
  EXPECT_EQ(first, 10u);
  EXPECT_EQ(second, 20u);
  EXPECT_GT(elapsed, 0u);
}

TEST_F(ExportsTest, CancelOnlyTheTransferThatIsNamed) {
  SetProgressDetails(TransferKind::kUpload, u"/Docs/a.txt", 10, 20, 0);
  std::array<ZvChar, 260> name{u'/', u'b'};
  EXPECT_EQ(GetInternetDetails(name.data(), nullptr, nullptr, nullptr, ZV_CANCEL_TRANSFER),
            ZV_UPLOAD);
  EXPECT_EQ(TextView(name.data()), u"/b");
  EXPECT_FALSE(SetProgressDetails(TransferKind::kUpload, u"/Docs/a.txt", 10, 20, 0));
  std::copy_n(u"/DOCS/A.TXT", 12, name.begin());
  EXPECT_EQ(GetInternetDetails(name.data(), nullptr, nullptr, nullptr, ZV_CANCEL_TRANSFER),
            ZV_UPLOAD);
  EXPECT_TRUE(SetProgressDetails(TransferKind::kUpload, u"/Docs/a.txt", 10, 20, 0));
}

TEST_F(ExportsTest, ClearAStaleTransfer) {
  SetProgressDetails(TransferKind::kUpload, u"/Docs/a.txt", 10, 20, 0);
  ResetProgressDetails();
  std::array<ZvChar, 260> name{u'x'};
  uint32_t first = 1;
  uint32_t second = 1;
  EXPECT_EQ(GetInternetDetails(name.data(), &first, &second, nullptr, ZV_READ_PROGRESS), ZV_IDLE);
  EXPECT_EQ(name[0], u'\0');
  EXPECT_EQ(first, 0u);
  EXPECT_EQ(second, 0u);
}

}  // namespace
}  // namespace zv::testing
