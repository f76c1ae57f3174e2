// The driver of this process, as the worker's device calls meet it.
#include "apps/zvdrive/local_driver.h"

#include <gtest/gtest.h>

#include <array>
#include <future>
#include <optional>

#include "platform/device.h"

namespace zv::testing {
namespace {

std::array<char16_t, 260> DosName(TextView drive) {
  std::array<char16_t, 260> name{};
  const Text text = u"\\DosDevices\\" + Text(drive);
  std::copy(text.begin(), text.end(), name.begin());
  return name;
}

class LocalDriverTest : public ::testing::Test {
 protected:
  static bool Create(const std::array<char16_t, 260>& name, uint32_t size = 520) {
    const auto control = Device::Open(kControlDeviceName, DeviceDisposition::kCreateAlways);
    std::array<std::byte, kCreateDriveOutputBytes> out{};
    return control &&
           control->Control(IOCTL_CREATE_DRIVE, name.data(), size, out.data(), out.size());
  }
  static std::optional<Device> OpenDrive() {
    return Device::Open(u"\\\\.\\Y:", DeviceDisposition::kOpenExisting);
  }
  static std::optional<RequestRecord> Fetch(const Device& drive, uint32_t code) {
    RequestRecord record;
    if (!drive.Control(code, &record, sizeof record, &record, sizeof record)) return std::nullopt;
    return record;
  }
  static bool Delete(const Device& drive) {
    const auto name = DosName(u"Y:");
    return drive.Control(IOCTL_DELETE_DRIVE, name.data(), 520, nullptr, 0);
  }
  std::future<std::optional<ChannelReply>> Ask(DriveQueue queue, MajorCode major) {
    return std::async(std::launch::async, [=, this] {
      RequestRecord record;
      record.major = static_cast<uint32_t>(major);
      return driver_->queues().Submit(queue, record, {}, {}, {});
    });
  }

  std::optional<LocalDriver> driver_{std::in_place};
};

TEST_F(LocalDriverTest, ADriveExistsFromItsCreationToItsDeletion) {
  EXPECT_FALSE(OpenDrive());
  EXPECT_TRUE(Create(DosName(u"Y:")));
  const auto drive = OpenDrive();
  ASSERT_TRUE(drive);
  EXPECT_TRUE(Delete(*drive));
  EXPECT_FALSE(OpenDrive());
  EXPECT_TRUE(Create(DosName(u"Y:")));
  EXPECT_TRUE(OpenDrive());
}

TEST_F(LocalDriverTest, TheControlDeviceIsThereForAsLongAsTheDriver) {
  EXPECT_TRUE(Device::Open(kControlDeviceName, DeviceDisposition::kCreateAlways));
  driver_.reset();
  EXPECT_FALSE(Device::Open(kControlDeviceName, DeviceDisposition::kCreateAlways));
}

TEST_F(LocalDriverTest, RefusesNamesThatAreNone) {
  EXPECT_FALSE(Create(DosName(u"Y:"), 519));
  EXPECT_FALSE(Create(DosName(u"")));
  std::array<char16_t, 260> other{};
  other[0] = u'Y';
  EXPECT_FALSE(Create(other));
  EXPECT_FALSE(OpenDrive());
}

TEST_F(LocalDriverTest, RefusesToDeleteWithoutAName) {
  ASSERT_TRUE(Create(DosName(u"Y:")));
  const auto drive = OpenDrive();
  ASSERT_TRUE(drive);
  const std::array<char16_t, 260> empty{};
  EXPECT_FALSE(drive->Control(IOCTL_DELETE_DRIVE, empty.data(), 520, nullptr, 0));
  EXPECT_TRUE(OpenDrive());
}

TEST_F(LocalDriverTest, CarriesARequestToTheWorkerAndItsReplyBack) {
  ASSERT_TRUE(Create(DosName(u"Y:")));
  const auto drive = OpenDrive();
  ASSERT_TRUE(drive);
  auto answer = Ask(DriveQueue::kInfo, MajorCode::kDelete);
  const auto record = Fetch(*drive, IOCTL_GET_INFO_REQUEST);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->major, static_cast<uint32_t>(MajorCode::kDelete));
  const StatusWord status = kNamespaceSuccess;
  EXPECT_TRUE(drive->Control(IOCTL_NAMESPACE_REPLY, &status, sizeof status, nullptr, 0));
  const auto reply = answer.get();
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->code, IOCTL_NAMESPACE_REPLY);
  EXPECT_EQ(reply->record[0], std::byte{100});
}

TEST_F(LocalDriverTest, AnotherFetchSaysThatTheRequestBeforeItFailed) {
  ASSERT_TRUE(Create(DosName(u"Y:")));
  const auto drive = OpenDrive();
  ASSERT_TRUE(drive);
  auto lost = Ask(DriveQueue::kTransfer, MajorCode::kRestore);
  ASSERT_TRUE(Fetch(*drive, IOCTL_GET_TRANSFER_REQUEST));
  auto next = Ask(DriveQueue::kTransfer, MajorCode::kBackup);
  EXPECT_EQ(Fetch(*drive, IOCTL_GET_TRANSFER_REQUEST)->major,
            static_cast<uint32_t>(MajorCode::kBackup));
  EXPECT_FALSE(lost.get());
  const StatusWord status = 0;
  EXPECT_TRUE(drive->Control(IOCTL_TRANSFER_STATUS_REPLY, &status, sizeof status, nullptr, 0));
  EXPECT_TRUE(next.get());
}

TEST_F(LocalDriverTest, EndsBothLoopsAndAnswersNobodyAfterwards) {
  ASSERT_TRUE(Create(DosName(u"Y:")));
  const auto drive = OpenDrive();
  ASSERT_TRUE(drive);
  auto waiting =
      std::async(std::launch::async, [&] { return Fetch(*drive, IOCTL_GET_INFO_REQUEST)->major; });
  constexpr std::chrono::seconds kPatience(20);
  ASSERT_TRUE(driver_->queues().WaitForFetch(DriveQueue::kInfo, kPatience));
  driver_->EndPolling();
  EXPECT_EQ(waiting.get(), 0xFFFFFFFFu);
  EXPECT_EQ(Fetch(*drive, IOCTL_GET_TRANSFER_REQUEST)->major, 0xFFFFFFFFu);
  EXPECT_FALSE(Ask(DriveQueue::kInfo, MajorCode::kDelete).get());
  EXPECT_FALSE(Ask(DriveQueue::kTransfer, MajorCode::kRestore).get());
}

TEST_F(LocalDriverTest, HandlesOfADeletedDriveFetchTheEnd) {
  ASSERT_TRUE(Create(DosName(u"Y:")));
  const auto drive = OpenDrive();
  ASSERT_TRUE(drive);
  EXPECT_TRUE(Delete(*drive));
  EXPECT_EQ(Fetch(*drive, IOCTL_GET_INFO_REQUEST)->major, 0xFFFFFFFFu);
  EXPECT_EQ(Fetch(*drive, IOCTL_GET_TRANSFER_REQUEST)->major, 0xFFFFFFFFu);
}

TEST_F(LocalDriverTest, NobodyWaitsForAWorkerThatIsGone) {
  auto waits = std::async(std::launch::async, [this] {
    return driver_->queues().WaitForFetch(DriveQueue::kInfo, std::chrono::hours(1));
  });
  driver_->EndPolling();
  EXPECT_FALSE(waits.get());
  EXPECT_FALSE(driver_->queues().WaitForFetch(DriveQueue::kTransfer, std::chrono::hours(1)));
}

}  // namespace
}  // namespace zv::testing
