#include "apps/zvdrive/pending_sender.h"

#include <gtest/gtest.h>

#include <new>

#include "platform/clock_testing.h"
#include "tests/apps/fake_worker.h"
#include "tests/support/test_home.h"
#include "worker/host_services.h"

namespace zv::testing {
namespace {

class PendingSenderTest : public HomeTest {
 protected:
  PendingSenderTest() { home_.SetAccount(u"127.80.2.1", u"ann", u"secret"); }

  static constexpr uint32_t kInterval = 1;  // ms
  static constexpr uint32_t kPlenty = 1'000'000;
  VirtualClock clock_;
  FakeWorker worker_;
  VirtualDrive drive_{worker_, worker_, {.drive_letter = u"Z:"}};
};

TEST_F(PendingSenderTest, AFileThatFailsForLackOfMemoryKeepsNoOtherWaiting) {
  worker_.PutFolder(u"\\a");
  worker_.PutFolder(u"\\b");
  MarkUploadPending(u"\\a\\f");
  MarkUploadPending(u"\\b\\f");
  Semaphore tried(0, kPlenty);
  worker_.OnRequest([&](const AskedRequest& asked) {
    if (asked.path.starts_with(u"\\a")) throw std::bad_alloc();
    if (asked.path.starts_with(u"\\b")) tried.Release();
  });
  const PendingSender sender(drive_, kInterval);
  tried.Acquire();
}

TEST_F(PendingSenderTest, TriesAgainAfterEachInterval) {
  worker_.PutFolder(u"\\a");
  MarkUploadPending(u"\\a\\f");
  Semaphore tried(0, kPlenty);
  worker_.OnRequest([&](const AskedRequest& asked) {
    if (!asked.path.starts_with(u"\\a")) return;
    tried.Release();
    throw std::bad_alloc();
  });
  const PendingSender sender(drive_, kInterval);
  for (int pass = 0; pass < 3; ++pass) tried.Acquire();
}

}  // namespace
}  // namespace zv::testing
