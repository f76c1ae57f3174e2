// A file that stands where a download is to go, and cannot be removed.
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "cache/cache_names.h"
#include "platform/clock_testing.h"
#include "platform/file.h"
#include "tests/zvutil/zvutil_fixture.h"
#include "zvutil/operations.h"

namespace {

std::atomic<bool> all_stand = false;

}  // namespace

extern "C" int unlink(const char* path) noexcept {
  if (!all_stand) return static_cast<int>(::syscall(SYS_unlink, path));
  errno = EACCES;
  return -1;
}

namespace zv::testing {
namespace {

class StandingFile : public SyncAccountTest {};

TEST_F(StandingFile, IsNotTakenForTheBeginningOfADownload) {
  const VirtualClock clock;
  account_.AddFolder("/Docs", 1);
  account_.AddFile("/Docs/a.txt", "the content of this one", 1);
  MakeFolders(CacheNames().folder());
  const Text file = CacheNames().folder() + u"a.txt";
  WriteFileBytes(file, "another's");
  WriteJournal(u"Download_dst.txt", CacheNames().folder());
  WriteJournal(u"Download_src.txt", u"F_/Docs/a.txt");
  all_stand = true;
  const bool downloaded = DownloadSyncFile(
      {.user = Text(kUser), .password = Text(kPassword), .web_server = account_.server().host()});
  all_stand = false;
  EXPECT_FALSE(downloaded);
  EXPECT_EQ(ReadFileBytes(file), "another's");
}

}  // namespace
}  // namespace zv::testing
