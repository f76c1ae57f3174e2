// The built library in processes of its own: the block that they share.
#include <gtest/gtest.h>

#include <thread>

#include "platform/file.h"
#include "tests/driver/worker_fixture.h"
#include "tests/platform/child_process.h"
#include "tests/worker/serving_process.h"

namespace zv::testing {
namespace {

constexpr uint32_t kWholeFile = 60000;  // bytes: from 51,200 on a file is brought in whole
constexpr std::string_view kDavTime = "Sun, 15 Nov 2026 14:03:09 GMT";

class LibraryTest : public WorkerTest {
 protected:
  LibraryTest() {
    home_.SetAccount(server_.host(), kUser, u"secret", {.check_freshness = false});
    home_.SetSetting(kConnectionSubKey, u"Local Name", u"Y:");
    MakeFolders(home_.CacheFolder(kUser));
    server_.On([](const Request&) { return Reply::Status(200); });
  }
};

TEST_F(LibraryTest, AnswersADriverInAnotherProcess) {
  const ServingProcess process(*bench_);
  WriteListing(u"/Docs", {u"a.txt?0?5?32?100?200"});
  WriteContent(u"/Docs/a.txt", "12345");
  const DirectoryEntry listed = AskDirectory(u"\\Docs\\", 1);
  EXPECT_EQ(listed.Name(), u"a.txt");
  EXPECT_EQ(listed.kind, 1u);
  const DirectoryEntry queried = AskQuery(u"\\Docs\\a.txt");
  EXPECT_EQ(queried.size, 5);
  EXPECT_EQ(queried.Name(), u"\\Docs\\a.txt");
  home_.SetSetting(kConnectionSubKey, u"Quota", u"7340032");
  home_.SetSetting(kConnectionSubKey, u"OLdUsedQuota", u"2097152");
  const auto volume = ReplyAs<VolumeReply>(AskInfo(MakeRequest(MajorCode::kVolumeInfo, u"")));
  EXPECT_EQ(volume.quota_mib, 7);
  EXPECT_EQ(volume.used_mib, 2);
  const SubmitResult read = AskTransfer(MakeRequest(MajorCode::kRestore, u"\\Docs\\a.txt", 100));
  EXPECT_EQ(TextOf(read.reply.data), "12345");
}

TEST_F(LibraryTest, StoresABlockFromADriverInAnotherProcess) {
  {
    const ServingProcess process(*bench_);
    EXPECT_EQ(AskBlock(u"\\a.txt", "content", 0, true).status, kTransferSuccess);
  }
  EXPECT_EQ(ReadContent(u"/a.txt"), "content");
}

TEST_F(LibraryTest, SharesTheUsedSpaceBetweenProcesses) {
  const ServingProcess process(*bench_);
  server_.On([](const Request&) { return FolderReply("/Docs/", {"/Docs/a"}); });
  AskDirectory(u"\\Docs\\", 1);
  EXPECT_EQ(ChildProcess("library_host", {"used", "3145728"}).Wait(), 0);
}

TEST_F(LibraryTest, ASecondProcessSeesATransferAndStopsIt) {
  const ServingProcess process(*bench_);
  server_.ClearRequests();
  server_.On([](const Request&) {
    return Reply::Status(200)
        .Header("Last-Modified", std::string(kDavTime))
        .LongBody(kWholeFile * 4)
        .StallAfter(kWholeFile);
  });
  SubmitResult result;
  std::thread asking(
      [&] { result = AskTransfer(MakeRequest(MajorCode::kRestore, u"\\big.bin", kWholeFile)); });
  EXPECT_EQ(ChildProcess("library_host", {"cancel", "/big.bin"}).Wait(), 0);
  server_.Release();
  asking.join();
  EXPECT_EQ(ReplyAs<TransferReply>(result).status, kTransferFailure);
  EXPECT_EQ(server_.request_count(), 1u);
  EXPECT_EQ(ReadContent(u"/big.bin"), std::nullopt);
}

}  // namespace
}  // namespace zv::testing
