// A drive that is made, served and asked for without memory: an answer each time, and nothing that
// goes on behind it.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <memory>

#include "driver/protocol.h"
#include "include/zvworker/zvworker.h"
#include "platform/device_driver.h"
#include "platform/file.h"
#include "platform/thread.h"
#include "tests/support/failing_memory.h"

namespace zv::testing {
namespace {

// Ends both loops at their first fetch.
class EndingDriver : public DeviceDriver {
 public:
  uint32_t OpenDevice(uint64_t) override {
    ++opened_;
    return 0;
  }
  void CloseDevice(uint64_t) override {}
  uint32_t ControlDevice(uint64_t, uint32_t code, const void*, uint32_t, void* out, uint32_t,
                         uint32_t*) override {
    if (code != IOCTL_GET_INFO_REQUEST && code != IOCTL_GET_TRANSFER_REQUEST) return 0;
    RequestRecord record;
    record.major = static_cast<uint32_t>(MajorCode::kEndPolling);
    std::memcpy(out, &record, sizeof record);
    return 0;
  }

  int opened() const { return opened_; }

 private:
  std::atomic<int> opened_ = 0;
};

size_t CountThreads() {
  const auto tasks = std::filesystem::directory_iterator("/proc/self/task");
  return static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
}

class ServingWithoutMemory : public HomeTest {
 protected:
  ServingWithoutMemory() {
    home_.SetAccount(u"127.42.255.253", u"u", u"secret");
    home_.SetSetting(kConnectionSubKey, u"Local Name", u"W:");
    RegisterDeviceDriver(u"W:", driver_);
  }
  ~ServingWithoutMemory() override { UnregisterDeviceDriver(u"W:"); }

  std::shared_ptr<EndingDriver> driver_ = std::make_shared<EndingDriver>();
};

TEST_F(ServingWithoutMemory, BothThreadsServeOrNone) {
  // Allocations: of what the threads wait at.
  constexpr size_t kBeforeThreads = 2;
  // Beside the first thread a sanitizer starts its own.
  Thread::Start([] { return 0U; }).Join();
  size_t failures = 0;
  for (size_t number = 0;; ++number) {
    RemoveFile(home_.LogFolder() + u"\\PollDebug.txt");
    const int before = driver_->opened();
    const size_t threads = CountThreads();
    bool happened = false;
    uint32_t result = 1;
    {
      const FailingAllocation failing(number, ThrowNoMemory);
      result = StartPolling();
      happened = failing.happened();
    }
    EXPECT_EQ(result, 0U);
    EXPECT_EQ(CountThreads(), threads) << "allocation " << number;
    EXPECT_EQ(driver_->opened(), before + (happened ? 0 : 2)) << "allocation " << number;
    if (!happened) break;
    const bool told = home_.LogHasLine(u"PollDebug.txt", u"Out of memory.");
    EXPECT_EQ(told, number >= kBeforeThreads) << "allocation " << number;
    ++failures;
  }
  EXPECT_GT(failures, 0U);
}

TEST_F(ServingWithoutMemory, TheConnectionIsToldOrNot) {
  home_.SetSetting(kConnectionSubKey, u"UNC Server", u"a server of some length");
  home_.SetSetting(kConnectionSubKey, u"UNC Share", u"a share of some length");
  const Text whole = u"\\\\a server of some length\\a share of some length";
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    char16_t name[100] = {};
    uint32_t length = 100;
    uint32_t result = 0;
    {
      const FailingAllocation failing(number, ThrowNoMemory);
      result = GetDriveConnection(u"W:", name, &length);
      happened = failing.happened();
    }
    if (!happened) {
      EXPECT_EQ(result, ZV_SUCCESS);
    }
    if (result == ZV_SUCCESS) {
      EXPECT_EQ(TextView(name), whole) << "allocation " << number;
    } else {
      EXPECT_EQ(result, ZV_NO_NETWORK) << "allocation " << number;
    }
  }
}

TEST_F(ServingWithoutMemory, TheDriveIsDeletedOrItsDeletionFails) {
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    uint32_t result = 0;
    {
      const FailingAllocation failing(number, ThrowNoMemory);
      result = DeleteNewDrive(u"W:");
      happened = failing.happened();
    }
    EXPECT_TRUE(result == ZV_GENERAL_FAILURE || !happened) << "allocation " << number;
  }
  EXPECT_EQ(DeleteNewDrive(u"W:"), ZV_SUCCESS);
}

}  // namespace
}  // namespace zv::testing
