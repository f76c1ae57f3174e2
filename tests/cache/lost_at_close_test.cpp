// What is written and cannot be kept, as the system says only when the file is closed: a disk
// behind a network that has run full.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "platform/clock_testing.h"
#include "platform/error.h"
#include "tests/cache/cache_fixture.h"

namespace {

std::atomic<bool> loses = false;

bool IsWrittenFile(int fd) {
  struct stat status;
  return (::fcntl(fd, F_GETFL) & O_ACCMODE) != O_RDONLY && ::fstat(fd, &status) == 0 &&
         S_ISREG(status.st_mode);
}

}  // namespace

extern "C" int close(int fd) {
  const bool lost = loses && IsWrittenFile(fd);
  const auto result = static_cast<int>(::syscall(SYS_close, fd));
  if (!lost) return result;
  errno = EDQUOT;
  return -1;
}

namespace zv::testing {
namespace {

// While it lives, no file that was written can be closed without loss.
class LossAtClose {
 public:
  LossAtClose() { loses = true; }
  ~LossAtClose() { loses = false; }
};

class LostAtClose : public CacheTest {
 protected:
  LostAtClose() { cache(); }
};

TEST_F(LostAtClose, ABlockIsRefused) {
  const LossAtClose loss;
  EXPECT_FALSE(Store(u"/f", "new"));
}

TEST_F(LostAtClose, ADownloadLeavesNoContent) {
  account_.AddFile("/f", "content", kEarly);
  const VirtualClock clock;
  {
    const LossAtClose loss;
    EXPECT_FALSE(cache().CacheRestoreFile(u"/f"));
  }
  EXPECT_EQ(Content(u"/f"), std::nullopt);
  EXPECT_TRUE(cache().CacheRestoreFile(u"/f"));
  EXPECT_EQ(Content(u"/f"), "content");
}

TEST_F(LostAtClose, AListingStaysAsItWas) {
  const Text before = u"f?0?1?0?1?2\r\ng?0?1?0?1?2\r\n";
  WriteListing(u"/", before);
  {
    const LossAtClose loss;
    FindData information;
    information.size_low = 2;
    EXPECT_FALSE(cache().UpdateCacheFileList(u"/f", information));
  }
  EXPECT_EQ(ListingText(u"/"), before);
}

TEST_F(LostAtClose, AnUploadIsNotTakenForListed) {
  const LossAtClose loss;
  EXPECT_FALSE(cache().pending().Add(u"/f", PendingKind::kContent, u""));
  EXPECT_EQ(LastError(), static_cast<uint32_t>(EDQUOT));
}

TEST_F(LostAtClose, ACopyLeavesNothing) {
  WriteContent(u"/f", "content");
  const Text copy = Folder() + u"copy";
  {
    const LossAtClose loss;
    EXPECT_FALSE(CopyOver(Names().GetFileRecordName(u"/f"), copy));
    EXPECT_EQ(LastError(), static_cast<uint32_t>(EDQUOT));
  }
  EXPECT_TRUE(IsAbsent(copy));
}

TEST_F(LostAtClose, ALongNameMakesNoFile) {
  const Text file = Names().folder() + Text(300, u'x');
  {
    const LossAtClose loss;
    EXPECT_FALSE(File::Open(file, Access::kWrite, Disposition::kCreateAlways));
    EXPECT_EQ(LastError(), static_cast<uint32_t>(EDQUOT));
  }
  EXPECT_TRUE(IsAbsent(file));
}

}  // namespace
}  // namespace zv::testing
