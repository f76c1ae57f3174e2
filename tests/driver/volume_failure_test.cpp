// Used space that cannot be told, for want of memory.
#include <gtest/gtest.h>

#include <cstring>
#include <optional>

#include "driver/event_polling.h"
#include "platform/device_driver.h"
#include "tests/driver/worker_fixture.h"
#include "tests/support/failing_memory.h"

namespace zv::testing {
namespace {

// Hands out one volume request, in which one allocation fails, then the end code.
class FailingVolumeDriver : public DeviceDriver {
 public:
  explicit FailingVolumeDriver(size_t allocation) : allocation_(allocation) {}

  uint32_t OpenDevice(uint64_t) override { return 0; }
  void CloseDevice(uint64_t) override {}
  uint32_t ControlDevice(uint64_t, uint32_t code, const void* in, uint32_t, void* out, uint32_t,
                         uint32_t*) override {
    if (code == IOCTL_GET_INFO_REQUEST) Fetch(out);
    if (code == IOCTL_VOLUME_REPLY) std::memcpy(&reply_.emplace(), in, sizeof(VolumeReply));
    return 0;
  }

  // Nothing: no reply was sent.
  std::optional<VolumeReply> reply() const { return reply_; }
  bool failed() const { return failed_; }

 private:
  void Fetch(void* out) {
    RequestRecord record;
    record.major =
        static_cast<uint32_t>(fetched_ ? MajorCode::kEndPolling : MajorCode::kVolumeInfo);
    std::memcpy(out, &record, sizeof record);
    if (fetched_) {
      failed_ = failing_->happened();
      failing_.reset();
    } else {
      failing_.emplace(allocation_, ThrowNoMemory);
    }
    fetched_ = true;
  }

  const size_t allocation_;
  bool fetched_ = false;
  bool failed_ = false;
  std::optional<FailingAllocation> failing_;
  std::optional<VolumeReply> reply_;
};

class VolumeFailureTest : public HomeTest {
 protected:
  VolumeFailureTest() {
    home_.SetAccount(u"127.42.255.253", kUser, u"secret");
    home_.SetSetting(kConnectionSubKey, u"Local Name", u"W:");
    home_.SetSetting(kConnectionSubKey, u"OLdUsedQuota", u"3145728");
  }
  ~VolumeFailureTest() override { UnregisterDeviceDriver(u"W:"); }

  std::shared_ptr<FailingVolumeDriver> Serve(size_t allocation) {
    auto driver = std::make_shared<FailingVolumeDriver>(allocation);
    RegisterDeviceDriver(u"W:", driver);
    CEventPolling().InfoPolling();
    return driver;
  }
};

TEST_F(VolumeFailureTest, IsAnsweredWhenTheUsedSpaceCannotBeTold) {
  bool is_told = true;
  for (size_t allocation = 0; is_told; ++allocation) {
    const auto driver = Serve(allocation);
    ASSERT_TRUE(driver->failed());  // an allocation was left
    is_told = !home_.LogHasLine(u"CacheDebug.txt", u"Exception while getting used space details!");
    // Without a reply another step of the handler failed.
    ASSERT_TRUE(is_told || driver->reply());
    if (!driver->reply()) continue;
    EXPECT_EQ(driver->reply()->status, is_told ? kNamespaceSuccess : kNamespaceFailure);
  }
}

}  // namespace
}  // namespace zv::testing
