// The worker's side of the queues while no memory is to be had.
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <new>

#include "apps/zvdrive/queues/request_queues.h"
#include "tests/support/failing_memory.h"

namespace zv::testing {
namespace {

constexpr uint64_t kWorker = 1;

TEST(QueuesMemoryTest, AFetchAndAReplyNeedNone) {
  RequestQueues queues;
  queues.OpenHandle(kWorker);
  RequestRecord block;
  block.major = static_cast<uint32_t>(MajorCode::kBackup);
  block.minor = static_cast<uint32_t>(MinorCode::kCacheBackup);
  block.length_or_index = 3;
  const auto content = std::make_shared<std::array<std::byte, 3>>();
  const auto row = queues.BeginRow(
      DriveQueue::kTransfer, block, {.bytes = *content, .keeper = content},
      [](const ChannelReply&, RequestRecord&) { return false; }, RowOrder::kUnbroken);
  const auto record = std::make_unique<RequestRecord>();
  std::array<std::byte, 3> buffer{};
  TransferReply transfer{.length = 3,
                         .status = kTransferSuccess,
                         .buffer = reinterpret_cast<uintptr_t>(buffer.data())};
  uint32_t returned = 0;
  {
    const FailingAllocation failing(0, ThrowNoMemory);
    EXPECT_EQ(queues.Control(kWorker, IOCTL_GET_TRANSFER_REQUEST, record.get(), sizeof *record,
                             record.get(), sizeof *record, &returned),
              0U);
    EXPECT_EQ(queues.Control(kWorker, IOCTL_BACKUP_REPLY, &transfer, sizeof transfer, &transfer,
                             sizeof transfer, &returned),
              0U);
  }
  EXPECT_EQ(record->length_or_index, 3U);
  EXPECT_EQ(transfer.buffer, reinterpret_cast<uintptr_t>(content->data()));
  EXPECT_TRUE(row->Wait());
}

TEST(QueuesMemoryTest, TheRemovalOfTheDriveNeedsNone) {
  RequestQueues queues;
  queues.OpenHandle(kWorker);
  const auto record = std::make_unique<RequestRecord>();
  {
    const FailingAllocation failing(0, ThrowNoMemory);
    queues.RemoveDrive();
    queues.RemoveDrive();
  }
  uint32_t returned = 0;
  EXPECT_EQ(queues.Control(kWorker, IOCTL_GET_INFO_REQUEST, record.get(), sizeof *record,
                           record.get(), sizeof *record, &returned),
            0U);
  EXPECT_EQ(record->major, static_cast<uint32_t>(MajorCode::kEndPolling));
}

}  // namespace
}  // namespace zv::testing
