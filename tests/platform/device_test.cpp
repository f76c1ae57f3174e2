#include "platform/device.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/device_driver.h"
#include "platform/error.h"

namespace zv {
namespace {

constexpr uint32_t kIncrement = 1;  // adds one to every byte of the input
constexpr uint32_t kWait = 2;       // blocks until another call releases it
constexpr uint32_t kRelease = 3;
constexpr uint32_t kRefused = 4;
constexpr uint32_t kRefusal = 1234;

// A driver that plays with bytes and remembers its files.
class ByteDriver : public DeviceDriver {
 public:
  uint32_t OpenDevice(uint64_t file) override {
    if (opening_error) return opening_error;
    const std::lock_guard lock(mutex_);
    opened.push_back(file);
    return 0;
  }

  uint32_t ControlDevice(uint64_t file, uint32_t code, const void* in, uint32_t in_size, void* out,
                         uint32_t out_size, uint32_t* returned) override {
    std::unique_lock lock(mutex_);
    last_file = file;
    if (code == kRefused) return kRefusal;
    if (code == kWait) released_.wait(lock, [this] { return is_released_; });
    if (code == kRelease) {
      is_released_ = true;
      released_.notify_all();
    }
    if (code == kIncrement) {
      *returned = std::min(in_size, out_size);
      const auto* from = static_cast<const unsigned char*>(in);
      auto* to = static_cast<unsigned char*>(out);
      for (uint32_t i = 0; i < *returned; ++i) to[i] = static_cast<unsigned char>(from[i] + 1);
    }
    return 0;
  }

  void CloseDevice(uint64_t file) override {
    const std::lock_guard lock(mutex_);
    closed.push_back(file);
  }

  std::vector<uint64_t> opened, closed;
  uint64_t last_file = 0;
  uint32_t opening_error = 0;

 private:
  std::mutex mutex_;
  std::condition_variable released_;
  bool is_released_ = false;
};

class DeviceTest : public ::testing::Test {
 protected:
  DeviceTest() { RegisterDeviceDriver(u"ZVtest", driver_); }
  ~DeviceTest() override { UnregisterDeviceDriver(u"ZVtest"); }

  static std::optional<Device> Open(TextView name = u"\\\\.\\ZVtest") {
    return Device::Open(name, DeviceDisposition::kOpenExisting);
  }

  const std::shared_ptr<ByteDriver> driver_ = std::make_shared<ByteDriver>();
};

TEST_F(DeviceTest, OpensByNameWithoutRegardToCase) {
  EXPECT_TRUE(Open().has_value());
  EXPECT_TRUE(Open(u"\\\\.\\zvTEST").has_value());
  EXPECT_TRUE(Device::Open(u"\\\\.\\ZVtest", DeviceDisposition::kCreateAlways).has_value());
}

TEST_F(DeviceTest, AnUnknownDeviceDoesNotOpen) {
  for (const TextView name : {u"\\\\.\\ZVnone", u"ZVtest", u"\\\\.\\", u""}) {
    SetLastError(0);
    EXPECT_FALSE(Open(name).has_value());
    EXPECT_EQ(LastError(), kErrorFileNotFound);
  }
}

TEST_F(DeviceTest, TheDriverMayRefuseAnOpening) {
  driver_->opening_error = kRefusal;
  EXPECT_FALSE(Open().has_value());
  EXPECT_EQ(LastError(), kRefusal);
  EXPECT_TRUE(driver_->closed.empty());
}

TEST_F(DeviceTest, ControlHandsBuffersThrough) {
  const auto device = Open();
  const unsigned char in[] = {1, 2, 255};
  unsigned char out[] = {9, 9, 9, 9};
  uint32_t returned = 77;
  EXPECT_TRUE(device->Control(kIncrement, in, sizeof in, out, sizeof out, &returned));
  EXPECT_EQ(returned, 3u);
  EXPECT_EQ(std::vector<unsigned char>(out, out + 4), (std::vector<unsigned char>{2, 3, 0, 9}));
}

TEST_F(DeviceTest, OneBufferMayBeInputAndOutput) {
  const auto device = Open();
  unsigned char both[] = {1, 2};
  EXPECT_TRUE(device->Control(kIncrement, both, sizeof both, both, sizeof both));
  EXPECT_EQ(both[0], 2);
  EXPECT_EQ(both[1], 3);
}

TEST_F(DeviceTest, EitherBufferMayBeMissing) {
  uint32_t returned = 77;
  EXPECT_TRUE(Open()->Control(kIncrement, nullptr, 0, nullptr, 0, &returned));
  EXPECT_EQ(returned, 0u);
}

TEST_F(DeviceTest, ARefusedCallFailsWithTheDriversError) {
  EXPECT_FALSE(Open()->Control(kRefused, nullptr, 0, nullptr, 0));
  EXPECT_EQ(LastError(), kRefusal);
}

TEST_F(DeviceTest, EachHandleIsAFileOfItsOwnAndClosesOnce) {
  {
    auto first = Open();
    auto second = Open();
    ASSERT_EQ(driver_->opened.size(), 2u);
    EXPECT_NE(driver_->opened[0], driver_->opened[1]);
    second->Control(kRelease, nullptr, 0, nullptr, 0);
    EXPECT_EQ(driver_->last_file, driver_->opened[1]);
    Device moved = std::move(*first);
    first.reset();
    EXPECT_TRUE(driver_->closed.empty());
    moved = std::move(*second);
    EXPECT_EQ(driver_->closed, std::vector<uint64_t>{driver_->opened[0]});
  }
  EXPECT_EQ(driver_->closed, driver_->opened);
}

TEST_F(DeviceTest, ALeakedHandleStaysOpen) {
  Open()->Leak();
  EXPECT_EQ(driver_->opened.size(), 1u);
  EXPECT_TRUE(driver_->closed.empty());
}

TEST_F(DeviceTest, AnOpenHandleKeepsItsDriver) {
  const auto device = Open();
  UnregisterDeviceDriver(u"zvtest");
  EXPECT_FALSE(Open().has_value());
  EXPECT_TRUE(device->Control(kRelease, nullptr, 0, nullptr, 0));
  EXPECT_EQ(driver_->last_file, driver_->opened[0]);
}

TEST_F(DeviceTest, RegisteringAgainReplacesTheDriver) {
  const auto old_device = Open();
  const auto replacement = std::make_shared<ByteDriver>();
  RegisterDeviceDriver(u"ZVTEST", replacement);
  const auto device = Open();
  EXPECT_EQ(driver_->opened.size(), 1u);
  EXPECT_EQ(replacement->opened.size(), 1u);
}

TEST_F(DeviceTest, ABlockedCallDoesNotKeepOthersOut) {
  const auto device = Open();
  bool woken = false;
  std::thread waiter([&] { woken = device->Control(kWait, nullptr, 0, nullptr, 0); });
  EXPECT_TRUE(device->Control(kRelease, nullptr, 0, nullptr, 0));
  waiter.join();
  EXPECT_TRUE(woken);
}

}  // namespace
}  // namespace zv
