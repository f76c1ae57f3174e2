// The driver's queues within one process: what goes beyond what every playing driver keeps to.
#include <gtest/gtest.h>

#include <array>
#include <future>
#include <optional>
#include <vector>

#include "apps/zvdrive/queues/request_queues.h"
#include "driver/protocol.h"
#include "platform/device.h"
#include "tests/support/driver_bench.h"

namespace zv::testing {
namespace {

using std::chrono::milliseconds;

RequestRecord Request(MajorCode major, uint32_t length = 0) {
  RequestRecord record;
  record.major = static_cast<uint32_t>(major);
  record.length_or_index = length;
  return record;
}

std::vector<std::byte> Bytes(std::string_view text) {
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

std::optional<RequestRecord> Fetch(const Device& drive, uint32_t code) {
  RequestRecord record;
  if (!drive.Control(code, &record, sizeof record, &record, sizeof record)) return std::nullopt;
  return record;
}

bool SendStatus(const Device& drive, uint32_t code, StatusWord status) {
  return drive.Control(code, &status, sizeof status, nullptr, 0);
}

class RequestQueuesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(bench_->CreateDrive(u"Y:"));
    drive_ = Device::Open(u"\\\\.\\y:", DeviceDisposition::kOpenExisting);
    ASSERT_TRUE(drive_);
  }

  std::future<SubmitResult> Submit(RequestQueue queue, const RequestRecord& record,
                                   std::vector<std::byte> block = {},
                                   milliseconds patience = DriverBench::kPatience) {
    return std::async(std::launch::async, [=, this, block = std::move(block)] {
      return bench_->Submit(queue, std::as_bytes(std::span(&record, 1)), block, patience);
    });
  }

  std::optional<RequestRecord> FetchInfo() { return Fetch(*drive_, IOCTL_GET_INFO_REQUEST); }
  std::optional<RequestRecord> FetchTransfer() {
    return Fetch(*drive_, IOCTL_GET_TRANSFER_REQUEST);
  }

  std::unique_ptr<DriverBench> bench_ = DriverBench::Create();
  std::optional<Device> drive_;
};

TEST_F(RequestQueuesTest, WakesAFetchThatHasLongBeenWaiting) {
  auto fetched = std::async(std::launch::async, [&] { return FetchInfo(); });
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kInfo));
  // While this one runs into its time-out, the fetch stops looking out and goes to sleep.
  Submit(RequestQueue::kTransfer, Request(MajorCode::kRestore), {}, milliseconds(5)).wait();
  auto result = Submit(RequestQueue::kInfo, Request(MajorCode::kDirectory, 7));
  EXPECT_EQ(fetched.get()->length_or_index, 7u);
  drive_.reset();
  EXPECT_EQ(result.get().outcome, Outcome::kWorkerGone);
}

TEST_F(RequestQueuesTest, KeepsTheQueuesOfOneHandleApart) {
  auto info = Submit(RequestQueue::kInfo, Request(MajorCode::kDelete));
  auto transfer = Submit(RequestQueue::kTransfer, Request(MajorCode::kBackup));
  ASSERT_TRUE(FetchInfo());
  ASSERT_TRUE(FetchTransfer());
  EXPECT_TRUE(SendStatus(*drive_, IOCTL_TRANSFER_STATUS_REPLY, 1));
  EXPECT_TRUE(SendStatus(*drive_, IOCTL_NAMESPACE_REPLY, 2));
  EXPECT_EQ(info.get().reply.code, IOCTL_NAMESPACE_REPLY);
  EXPECT_EQ(transfer.get().reply.code, IOCTL_TRANSFER_STATUS_REPLY);
}

TEST_F(RequestQueuesTest, HandsTheEndCodeToHandlesOfARemovedDrive) {
  EXPECT_TRUE(bench_->RemoveDrive());
  EXPECT_EQ(FetchInfo()->major, 0xFFFFFFFFu);
  EXPECT_FALSE(Device::Open(u"\\\\.\\Y:", DeviceDisposition::kOpenExisting));
  EXPECT_TRUE(bench_->CreateDrive(u"Y:"));
  EXPECT_EQ(FetchInfo()->major, 0xFFFFFFFFu);
  const auto next = Device::Open(u"\\\\.\\Y:", DeviceDisposition::kOpenExisting);
  ASSERT_TRUE(next);
  auto result = Submit(RequestQueue::kInfo, Request(MajorCode::kDelete));
  EXPECT_EQ(Fetch(*next, IOCTL_GET_INFO_REQUEST)->major, static_cast<uint32_t>(MajorCode::kDelete));
  EXPECT_TRUE(SendStatus(*next, IOCTL_NAMESPACE_REPLY, 1));
  EXPECT_EQ(result.get().outcome, Outcome::kReplied);
}

TEST(RequestChannelTest, CallsBackWhileItWaitsAndEndsWithTheQueues) {
  RequestQueues queues;
  queues.OpenHandle(1);
  int calls = 0;
  const auto reply = queues.Submit(DriveQueue::kInfo, Request(MajorCode::kVolumeInfo), {}, {}, [&] {
    if (++calls == 2) queues.Shutdown();
  });
  EXPECT_FALSE(reply);
  EXPECT_EQ(calls, 2);
  EXPECT_FALSE(queues.Submit(DriveQueue::kTransfer, Request(MajorCode::kRestore), {}, {}, {}));
  RequestRecord record;
  uint32_t returned = 0;
  EXPECT_EQ(queues.Control(1, IOCTL_GET_INFO_REQUEST, &record, sizeof record, &record,
                           sizeof record, &returned),
            0u);
  EXPECT_EQ(record.major, 0xFFFFFFFFu);
}

TEST(RequestChannelTest, PutsNoMoreIntoTheAskersBufferThanItHolds) {
  RequestQueues queues;
  queues.OpenHandle(1);
  std::array<std::byte, 3> into{};
  auto asked = std::async(std::launch::async, [&] {
    return queues.Submit(DriveQueue::kTransfer, Request(MajorCode::kRestore, 5), {}, into, {});
  });
  RequestRecord record;
  uint32_t returned = 0;
  queues.Control(1, IOCTL_GET_TRANSFER_REQUEST, &record, sizeof record, &record, sizeof record,
                 &returned);
  std::vector<std::byte> data = Bytes("12345");
  const TransferReply reply{5, 0, reinterpret_cast<uintptr_t>(data.data())};
  EXPECT_EQ(queues.Control(1, IOCTL_RESTORE_REPLY, &reply, sizeof reply, nullptr, 0, &returned),
            0u);
  const auto answer = asked.get();
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->data_size, 3u);
  EXPECT_EQ(std::vector(into.begin(), into.end()), Bytes("123"));
}

}  // namespace
}  // namespace zv::testing
