// A download onto a disk that has no room: the system's device that is always full stands for it.
#include <filesystem>

#include "platform/home.h"
#include "tests/webdav/download_fixture.h"

namespace zv::testing {
namespace {

TEST_F(DownloadTest, AFullDiskIsSaidAndTriedAgain) {
  std::filesystem::create_symlink("/dev/full", HomeFolder() + "/drives/C/Apps/Host/big.part");
  server_.On([this](const Request& request) { return Serve(request, content_); });
  EXPECT_FALSE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_EQ(server_.request_count(), 3U);
  const Text reason = SystemErrorText(kErrorDiskFull);
  EXPECT_TRUE(UserLogHasAt(
      u"Information",
      u"Resuming download of file /big.bin [retry count 1, 0% downloaded]. Reason: " + reason));
  EXPECT_TRUE(TraceHas(
      u"Exception in download of file /big.bin [retry count 1, 0% downloaded]. Reason: " + reason));
  EXPECT_TRUE(UserLogHasAt(u"Error", u"Aborting download of /big.bin."));
}

}  // namespace
}  // namespace zv::testing
