// The driver's queues within one process: what goes beyond what every playing driver keeps to.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
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
    return true;
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

// The worker's side, by hand.
class RequestRowTest : public ::testing::Test {
 protected:
  RequestRowTest() { queues_.OpenHandle(1); }

  RequestRecord Fetch(uint32_t code = IOCTL_GET_INFO_REQUEST) {
    RequestRecord record;
    uint32_t returned = 0;
    queues_.Control(1, code, &record, sizeof record, &record, sizeof record, &returned);
    return record;
  }
  void Reply(uint32_t status) {
    uint32_t returned = 0;
    queues_.Control(1, IOCTL_NAMESPACE_REPLY, &status, sizeof status, nullptr, 0, &returned);
  }
  std::future<bool> SubmitRow(RequestChannel::NextRequest next) {
    return std::async(std::launch::async, [this, next] {
      return queues_
          .BeginRow(DriveQueue::kInfo, Request(MajorCode::kDelete, 1), {}, next,
                    RowOrder::kAmongOthers)
          ->Wait();
    });
  }

  RequestQueues queues_;
};

TEST_F(RequestRowTest, EachRequestIsMadeFromTheReplyBeforeIt) {
  std::vector<uint32_t> statuses;
  auto row = SubmitRow([&](const ChannelReply& reply, RequestRecord& record) {
    uint32_t status = 0;
    std::memcpy(&status, reply.record.data(), sizeof status);
    statuses.push_back(status);
    record.length_or_index = 10 * status;
    return statuses.size() < 3;
  });
  EXPECT_EQ(Fetch().length_or_index, 1u);
  Reply(7);
  EXPECT_EQ(Fetch().length_or_index, 70u);
  Reply(8);
  EXPECT_EQ(Fetch().length_or_index, 80u);
  Reply(9);
  EXPECT_TRUE(row.get());
  EXPECT_EQ(statuses, (std::vector<uint32_t>{7, 8, 9}));
}

TEST_F(RequestRowTest, RequestsOfOthersComeInBetween) {
  auto row = SubmitRow(
      [](const ChannelReply&, RequestRecord& record) { return ++record.length_or_index < 3; });
  EXPECT_EQ(Fetch().length_or_index, 1u);
  auto other = std::async(std::launch::async, [this] {
    return queues_.Submit(DriveQueue::kInfo, Request(MajorCode::kRename), {}, {}, {}).has_value();
  });
  std::vector<uint32_t> majors;
  for (int i = 0; i < 2; ++i) {
    Reply(0);
    majors.push_back(Fetch().major);
  }
  Reply(0);
  EXPECT_TRUE(other.get());
  EXPECT_TRUE(row.get());
  std::ranges::sort(majors);
  EXPECT_EQ(majors, (std::vector{static_cast<uint32_t>(MajorCode::kDelete),
                                 static_cast<uint32_t>(MajorCode::kRename)}));
}

TEST_F(RequestRowTest, EndsWhenAReplyDoesNotCome) {
  int replies = 0;
  auto row = SubmitRow([&](const ChannelReply&, RequestRecord&) { return ++replies < 9; });
  Fetch();
  Reply(0);
  Fetch();
  queues_.CloseHandle(1);
  EXPECT_FALSE(row.get());
  EXPECT_EQ(replies, 1);
}

TEST_F(RequestRowTest, EndsWhenTheNextRequestCannotBeMade) {
  auto row = SubmitRow([](const ChannelReply&, RequestRecord&) -> bool { throw std::bad_alloc(); });
  Fetch();
  Reply(0);
  EXPECT_FALSE(row.get());
}

TEST_F(RequestRowTest, AnUnbrokenOneLetsNobodyIn) {
  const auto next = [](const ChannelReply&, RequestRecord& record) {
    return ++record.length_or_index < 3;
  };
  const auto row = queues_.BeginRow(DriveQueue::kInfo, Request(MajorCode::kDelete, 1), {}, next,
                                    RowOrder::kUnbroken);
  const auto other = queues_.BeginRow(
      DriveQueue::kInfo, Request(MajorCode::kRename), {},
      [](const ChannelReply&, RequestRecord&) { return false; }, RowOrder::kUnbroken);
  for (uint32_t step = 1; step < 3; ++step) {
    const RequestRecord record = Fetch();
    EXPECT_EQ(record.major, static_cast<uint32_t>(MajorCode::kDelete));
    EXPECT_EQ(record.length_or_index, step);
    Reply(0);
  }
  EXPECT_TRUE(row->Wait());
  EXPECT_EQ(Fetch().major, static_cast<uint32_t>(MajorCode::kRename));
  Reply(0);
  EXPECT_TRUE(other->Wait());
}

TEST_F(RequestRowTest, OneThatIsLetGoIsWithdrawn) {
  const auto next = [](const ChannelReply&, RequestRecord&) { return true; };
  queues_.BeginRow(DriveQueue::kInfo, Request(MajorCode::kDelete), {}, next, RowOrder::kUnbroken);
  queues_.EndPolling(DriveQueue::kInfo);
  EXPECT_EQ(Fetch().major, 0xFFFFFFFFu);
}

TEST_F(RequestRowTest, OneThatIsWaitedForNoLongerGoesOnAllTheSame) {
  const auto next = [](const ChannelReply&, RequestRecord&) { return false; };
  const auto row = queues_.BeginRow(DriveQueue::kInfo, Request(MajorCode::kDelete), {}, next,
                                    RowOrder::kAmongOthers);
  EXPECT_FALSE(row->WaitWhile([] { return false; }));
  EXPECT_FALSE(row->WaitWhile([]() -> bool { throw std::bad_alloc(); }));
  Fetch();
  EXPECT_FALSE(row->WaitWhile([] { return false; }));
  Reply(0);
  EXPECT_TRUE(row->WaitWhile([] { return false; }));
  EXPECT_TRUE(row->Wait());
}

TEST_F(RequestRowTest, OneThatIsLetGoWhileItIsServedGoesNoFurther) {
  int replies = 0;
  const auto next = [&](const ChannelReply&, RequestRecord&) { return ++replies < 9; };
  auto row = queues_.BeginRow(DriveQueue::kInfo, Request(MajorCode::kDelete), {}, next,
                              RowOrder::kUnbroken);
  EXPECT_EQ(Fetch().major, static_cast<uint32_t>(MajorCode::kDelete));
  row.reset();
  Reply(0);
  queues_.EndPolling(DriveQueue::kInfo);
  EXPECT_EQ(Fetch().major, 0xFFFFFFFFu);
  EXPECT_EQ(replies, 0);
}

TEST(RequestChannelTest, SuppliesNoBlockForARowThatIsLetGo) {
  RequestQueues queues;
  queues.OpenHandle(1);
  const std::array<std::byte, 4> block{};
  const auto next = [](const ChannelReply&, RequestRecord&) { return false; };
  auto row = queues.BeginRow(DriveQueue::kTransfer, Request(MajorCode::kBackup, 4),
                             {.bytes = block, .keeper = {}}, next, RowOrder::kUnbroken);
  RequestRecord record;
  uint32_t returned = 0;
  ASSERT_EQ(queues.Control(1, IOCTL_GET_TRANSFER_REQUEST, &record, sizeof record, &record,
                           sizeof record, &returned),
            0u);
  row.reset();
  std::array<char, 4> buffer{"abc"};
  TransferReply reply{4, 0, reinterpret_cast<uintptr_t>(buffer.data())};
  EXPECT_NE(
      queues.Control(1, IOCTL_BACKUP_REPLY, &reply, sizeof reply, &reply, sizeof reply, &returned),
      0u);
  EXPECT_EQ(std::string_view(buffer.data()), "abc");
}

// A row whose block may be worked on where it lies.
class LentBlockTest : public RequestRowTest {
 protected:
  std::unique_ptr<RequestRow> BeginRow() {
    const std::span<const std::byte> bytes(*block_);
    return queues_.BeginRow(
        DriveQueue::kTransfer, Request(MajorCode::kBackup, 5), {bytes, std::move(block_)},
        [](const ChannelReply&, RequestRecord&) { return false; }, RowOrder::kUnbroken);
  }
  void FetchTransfer() { Fetch(IOCTL_GET_TRANSFER_REQUEST); }
  // What the worker is told when it asks for so much of the block.
  TransferReply AskForBlock(uint32_t length, uint32_t status = kTransferSuccess) {
    TransferReply reply{length, status, reinterpret_cast<uintptr_t>(buffer_.data())};
    uint32_t returned = 0;
    EXPECT_EQ(queues_.Control(1, IOCTL_BACKUP_REPLY, &reply, sizeof reply, &reply, sizeof reply,
                              &returned),
              0u);
    return reply;
  }

  std::shared_ptr<const std::vector<std::byte>> block_ =
      std::make_shared<const std::vector<std::byte>>(Bytes("12345"));
  const std::weak_ptr<const std::vector<std::byte>> seen_ = block_;
  std::vector<std::byte> buffer_ = Bytes("-----");
};

TEST_F(LentBlockTest, IsNotCopied) {
  const std::byte* const bytes = block_->data();
  const auto row = BeginRow();
  FetchTransfer();
  const TransferReply reply = AskForBlock(5);
  EXPECT_EQ(reply.buffer, reinterpret_cast<uintptr_t>(bytes));
  EXPECT_EQ(reply.length, 5u);
  EXPECT_EQ(buffer_, Bytes("-----"));
}

TEST_F(LentBlockTest, StaysUntilTheNextFetchWhoeverHasLeft) {
  auto row = BeginRow();
  FetchTransfer();
  AskForBlock(5);
  queues_.Shutdown();
  EXPECT_TRUE(row->Wait());
  row.reset();
  EXPECT_FALSE(seen_.expired());
  FetchTransfer();
  EXPECT_TRUE(seen_.expired());
}

TEST_F(LentBlockTest, GoesWithTheHandleThatWorkedOnIt) {
  auto row = BeginRow();
  FetchTransfer();
  AskForBlock(5);
  row.reset();
  queues_.CloseHandle(1);
  EXPECT_TRUE(seen_.expired());
}

TEST_F(LentBlockTest, IsNotLentToAWorkerThatTakesNothing) {
  const auto row = BeginRow();
  FetchTransfer();
  const TransferReply reply = AskForBlock(0, kTransferFailure);
  EXPECT_EQ(reply.buffer, reinterpret_cast<uintptr_t>(buffer_.data()));
  EXPECT_EQ(reply.length, 0u);
}

TEST(RequestChannelTest, EndsARowThatBeginsAfterTheShutdown) {
  RequestQueues queues;
  queues.Shutdown();
  const auto next = [](const ChannelReply&, RequestRecord&) { return true; };
  const auto row = queues.BeginRow(DriveQueue::kTransfer, Request(MajorCode::kBackup), {}, next,
                                   RowOrder::kUnbroken);
  EXPECT_FALSE(row->Wait());
}

TEST_F(RequestRowTest, ARequestWhoseAskerWouldRatherNotWaitIsWithdrawn) {
  for (const WhileWaiting& asked : {WhileWaiting([] { return false; }),
                                    WhileWaiting([]() -> bool { throw std::bad_alloc(); })}) {
    EXPECT_FALSE(queues_.Submit(DriveQueue::kInfo, Request(MajorCode::kDelete), {}, {}, asked));
  }
  queues_.EndPolling(DriveQueue::kInfo);
  EXPECT_EQ(Fetch().major, 0xFFFFFFFFu);
}

TEST_F(RequestRowTest, ARequestThatIsServedIsWaitedForAllTheSame) {
  std::promise<void> fetched, has_asked;
  int calls = 0;
  auto asked = std::async(std::launch::async, [&] {
    return queues_.Submit(DriveQueue::kInfo, Request(MajorCode::kDelete), {}, {}, [&] {
      ++calls;
      if (calls == 1) fetched.get_future().wait();
      if (calls == 2) has_asked.set_value();
      return false;
    });
  });
  Fetch();
  fetched.set_value();
  has_asked.get_future().wait();
  Reply(kNamespaceSuccess);
  EXPECT_TRUE(asked.get());
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
