// What every playing driver keeps to, on both systems.
#include "tests/kernel_driver/driver_bench_fixture.h"

namespace zv::testing {
namespace {

using std::chrono::milliseconds;

TEST_F(DriverBenchTest, OpensItsControlDeviceOnly) {
  EXPECT_TRUE(WorkerHandle::Control().IsOpen());
  EXPECT_FALSE(WorkerHandle::Drive().IsOpen());
  EXPECT_EQ(bench_->DriveName(), u"");
}

TEST_F(DriverBenchTest, HidesItsControlDeviceWhenTold) {
  bench_->HideControlDevice(true);
  EXPECT_FALSE(WorkerHandle::Control().IsOpen());
  bench_->HideControlDevice(false);
  EXPECT_TRUE(WorkerHandle::Control().IsOpen());
}

TEST_F(DriverBenchTest, MakesTheDriveThatACreateRequestNames) {
  ASSERT_TRUE(AskForDrive(u"\\DosDevices\\Y:"));
  EXPECT_EQ(bench_->DriveName(), u"Y:");
  EXPECT_TRUE(WorkerHandle::Drive().IsOpen());
  const auto calls = bench_->Calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].device, BenchDevice::kControl);
  EXPECT_EQ(calls[0].code, 0x00282008u);
  EXPECT_EQ(calls[0].output_length, 255u);
  EXPECT_TRUE(calls[0].accepted);
  const auto name = DosName(u"\\DosDevices\\Y:");
  ASSERT_EQ(calls[0].input.size(), sizeof(name));
  EXPECT_EQ(std::memcmp(calls[0].input.data(), name.data(), sizeof(name)), 0);
}

TEST_F(DriverBenchTest, RefusesACreateRequestOfAnotherForm) {
  EXPECT_FALSE(AskForDrive(u"\\DosDevices\\Y:", 518));
  EXPECT_FALSE(AskForDrive(u"\\DosDevices\\Y:", 520, 256));
  EXPECT_FALSE(AskForDrive(u"\\DosDevices\\"));
  EXPECT_FALSE(AskForDrive(u"\\DosDevice\\Y:"));
  EXPECT_FALSE(AskForDrive(u"\\DosDevices\\" + std::u16string(248, u'Y')));
  EXPECT_EQ(bench_->DriveName(), u"");
  EXPECT_EQ(bench_->CallCount(IOCTL_CREATE_DRIVE), 5u);
}

TEST_F(DriverBenchTest, RefusesASecondDrive) {
  ASSERT_TRUE(AskForDrive(u"\\DosDevices\\Y:"));
  EXPECT_FALSE(AskForDrive(u"\\DosDevices\\X:"));
  EXPECT_FALSE(bench_->CreateDrive(u"X:"));
  EXPECT_EQ(bench_->DriveName(), u"Y:");
}

TEST_F(DriverBenchTest, RefusesToCreateWhenTold) {
  bench_->RefuseCreateDrive(true);
  EXPECT_FALSE(AskForDrive(u"\\DosDevices\\Y:"));
  EXPECT_FALSE(bench_->Calls().at(0).accepted);
  bench_->RefuseCreateDrive(false);
  EXPECT_TRUE(AskForDrive(u"\\DosDevices\\Y:"));
}

TEST_F(DriverBenchTest, CountsOpensAndOpenHandles) {
  auto first = WorkerHandle::Control();
  const auto second = WorkerHandle::Control();
  first.Close();
  const DeviceUse use = bench_->Use(BenchDevice::kControl);
  EXPECT_EQ(use.opens, 2u);
  EXPECT_EQ(use.open_now, 1u);
  EXPECT_EQ(bench_->Use(BenchDevice::kDrive).opens, 0u);
}

TEST_F(DriverBenchWithDrive, EndsWaitingFetchesWhenTheDriveIsDeleted) {
  auto info = std::async(std::launch::async, [&] { return drive_->Fetch(RequestQueue::kInfo); });
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kInfo));
  const auto name = DosName(u"\\DosDevices\\Y:");
  ASSERT_TRUE(WorkerHandle::Drive().Call(IOCTL_DELETE_DRIVE, name.data(), sizeof(name)));
  EXPECT_EQ(info.get()->major, 0xFFFFFFFFu);
  EXPECT_EQ(drive_->Fetch(RequestQueue::kTransfer)->major, 0xFFFFFFFFu);
  EXPECT_FALSE(WorkerHandle::Drive().IsOpen());
  EXPECT_EQ(bench_->Use(BenchDevice::kDrive).open_now, 1u);
  EXPECT_EQ(bench_->Use(BenchDevice::kDrive).opens, 2u);
}

TEST_F(DriverBenchWithDrive, RefusesToDeleteAnotherNameOrWhenTold) {
  const auto name = DosName(u"\\DosDevices\\Y:");
  const auto other = DosName(u"\\DosDevices\\X:");
  EXPECT_FALSE(drive_->Call(IOCTL_DELETE_DRIVE, other.data(), sizeof(other)));
  EXPECT_FALSE(drive_->Call(IOCTL_DELETE_DRIVE, name.data(), sizeof(name) - 2));
  bench_->RefuseDeleteDrive(true);
  EXPECT_FALSE(drive_->Call(IOCTL_DELETE_DRIVE, name.data(), sizeof(name)));
  EXPECT_EQ(bench_->DriveName(), u"Y:");
  bench_->RefuseDeleteDrive(false);
  EXPECT_TRUE(drive_->Call(IOCTL_DELETE_DRIVE, name.data(), sizeof(name)));
  EXPECT_EQ(bench_->DriveName(), u"");
}

TEST_F(DriverBenchWithDrive, MakesANewDriveWhileTheOldOneIsStillOpen) {
  ASSERT_TRUE(bench_->RemoveDrive());
  ASSERT_TRUE(bench_->CreateDrive(u"Y:"));
  const auto again = WorkerHandle::Drive();
  auto result = Submit(RequestQueue::kInfo, Request(MajorCode::kDelete));
  EXPECT_EQ(drive_->Fetch(RequestQueue::kInfo)->major, 0xFFFFFFFFu);
  EXPECT_EQ(again.Fetch(RequestQueue::kInfo)->major, 5u);
  EXPECT_TRUE(again.ReplyStatus(IOCTL_NAMESPACE_REPLY, 100));
  EXPECT_EQ(result.get().outcome, Outcome::kReplied);
}

TEST_F(DriverBenchWithDrive, HandsOutARecordByteForByte) {
  RequestRecord record;
  const auto bytes = Pattern(sizeof(record));
  std::memcpy(&record, bytes.data(), bytes.size());
  for (const RequestQueue queue : {RequestQueue::kInfo, RequestQueue::kTransfer}) {
    auto result = Submit(queue, record);
    const auto fetched = drive_->Fetch(queue);
    ASSERT_TRUE(fetched);
    EXPECT_EQ(std::memcmp(&*fetched, bytes.data(), bytes.size()), 0);
    drive_->ReplyStatus(
        queue == RequestQueue::kInfo ? IOCTL_NAMESPACE_REPLY : IOCTL_TRANSFER_STATUS_REPLY, 0);
    EXPECT_EQ(result.get().outcome, Outcome::kReplied);
  }
}

TEST_F(DriverBenchWithDrive, ServesBothQueuesAtOnce) {
  auto transfer =
      std::async(std::launch::async, [&] { return drive_->Fetch(RequestQueue::kTransfer); });
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kTransfer));
  auto info = Submit(RequestQueue::kInfo, Request(MajorCode::kQueryInfo));
  EXPECT_EQ(drive_->Fetch(RequestQueue::kInfo)->major, 2u);
  auto backup = Submit(RequestQueue::kTransfer, Request(MajorCode::kBackup));
  EXPECT_EQ(transfer.get()->major, 3u);
  EXPECT_TRUE(drive_->ReplyStatus(IOCTL_NAMESPACE_REPLY, 101));
  EXPECT_TRUE(drive_->ReplyStatus(IOCTL_TRANSFER_STATUS_REPLY, 0));
  const auto answer = info.get();
  EXPECT_EQ(answer.reply.code, IOCTL_NAMESPACE_REPLY);
  ASSERT_EQ(answer.reply.record.size(), 4u);
  EXPECT_EQ(answer.reply.record[0], std::byte{101});
  EXPECT_EQ(backup.get().reply.code, IOCTL_TRANSFER_STATUS_REPLY);
}

TEST_F(DriverBenchWithDrive, PassesEveryReplyRecordOn) {
  const std::pair<std::uint32_t, std::size_t> replies[] = {
      {IOCTL_QUERY_INFO_REPLY, 584},   {IOCTL_DIRECTORY_REPLY, 584}, {IOCTL_NAMESPACE_REPLY, 4},
      {IOCTL_VOLUME_REPLY, 32},        {IOCTL_BACKUP_REPLY, 16},     {IOCTL_RESTORE_REPLY, 16},
      {IOCTL_TRANSFER_STATUS_REPLY, 4}};
  for (const auto& [code, size] : replies) {
    const bool transfer = code == IOCTL_BACKUP_REPLY || code == IOCTL_RESTORE_REPLY ||
                          code == IOCTL_TRANSFER_STATUS_REPLY;
    const RequestQueue queue = transfer ? RequestQueue::kTransfer : RequestQueue::kInfo;
    auto bytes = Pattern(size);
    if (transfer) std::fill(bytes.begin(), bytes.end(), std::byte{0});
    auto result = Submit(queue, Request(MajorCode::kNone));
    ASSERT_TRUE(drive_->Fetch(queue));
    const std::size_t out = code == IOCTL_BACKUP_REPLY ? size : 0;
    std::array<std::byte, 32> back = {};
    EXPECT_FALSE(drive_->Call(code, bytes.data(), size - 1, back.data(), out)) << code;
    EXPECT_FALSE(drive_->Call(code, bytes.data(), size, back.data(), out / 2 + 1)) << code;
    EXPECT_TRUE(drive_->Call(code, bytes.data(), size, back.data(), out)) << code;
    const auto answer = result.get();
    EXPECT_EQ(answer.outcome, Outcome::kReplied);
    EXPECT_EQ(answer.reply.code, code);
    EXPECT_EQ(answer.reply.record, bytes);
    EXPECT_EQ(bench_->CallCount(code), 3u);
  }
}

TEST_F(DriverBenchWithDrive, RefusesAReplyWithoutARequestInFlight) {
  EXPECT_FALSE(drive_->ReplyStatus(IOCTL_NAMESPACE_REPLY, 100));
  auto result = Submit(RequestQueue::kInfo, Request(MajorCode::kDelete));
  ASSERT_TRUE(drive_->Fetch(RequestQueue::kInfo));
  EXPECT_FALSE(drive_->ReplyStatus(IOCTL_TRANSFER_STATUS_REPLY, 0)) << "the other queue's reply";
  EXPECT_FALSE(WorkerHandle::Drive().ReplyStatus(IOCTL_NAMESPACE_REPLY, 100)) << "another handle";
  EXPECT_TRUE(drive_->ReplyStatus(IOCTL_NAMESPACE_REPLY, 102));
  EXPECT_FALSE(drive_->ReplyStatus(IOCTL_NAMESPACE_REPLY, 100)) << "a second reply";
  EXPECT_EQ(result.get().reply.record[0], std::byte{102});
}

TEST_F(DriverBenchWithDrive, TakesANewFetchForNoReply) {
  auto first = Submit(RequestQueue::kInfo, Request(MajorCode::kDirectory));
  ASSERT_TRUE(drive_->Fetch(RequestQueue::kInfo));
  auto second = Submit(RequestQueue::kInfo, Request(MajorCode::kVolumeInfo));
  ASSERT_EQ(drive_->Fetch(RequestQueue::kInfo)->major, 7u);
  EXPECT_EQ(first.get().outcome, Outcome::kNoReply);
  drive_->Close();
  EXPECT_EQ(second.get().outcome, Outcome::kWorkerGone);
}

TEST_F(DriverBenchWithDrive, CopiesRestoredDataOutOfTheWorkersBuffer) {
  const auto data = Pattern(1 << 20);
  auto result = Submit(RequestQueue::kTransfer, Request(MajorCode::kRestore, 1 << 20));
  ASSERT_TRUE(drive_->Fetch(RequestQueue::kTransfer));
  EXPECT_TRUE(drive_->ReplyRestore(1 << 20, 0, data.data()));
  EXPECT_EQ(result.get().reply.data, data);

  auto shorter = Submit(RequestQueue::kTransfer, Request(MajorCode::kRestore, 1 << 20));
  ASSERT_TRUE(drive_->Fetch(RequestQueue::kTransfer));
  EXPECT_TRUE(drive_->ReplyRestore(3, 1, data.data()));
  EXPECT_EQ(shorter.get().reply.data, Pattern(3));
}

TEST_F(DriverBenchWithDrive, RefusesMoreRestoredDataThanWasAskedFor) {
  const auto data = Pattern(11);
  auto result = Submit(RequestQueue::kTransfer, Request(MajorCode::kRestore, 10));
  ASSERT_TRUE(drive_->Fetch(RequestQueue::kTransfer));
  EXPECT_FALSE(drive_->ReplyRestore(11, 0, data.data()));
  EXPECT_TRUE(drive_->ReplyRestore(0, 2, nullptr));
  const auto answer = result.get();
  EXPECT_TRUE(answer.reply.data.empty());
  EXPECT_FALSE(answer.reply.copy_failed);
}

TEST_F(DriverBenchWithDrive, CopiesABlockIntoTheWorkersBuffer) {
  const auto block = Pattern(51200);
  std::vector<std::byte> buffer(51200);
  auto result = Submit(RequestQueue::kTransfer, Request(MajorCode::kBackup, 51200), block);
  ASSERT_TRUE(drive_->Fetch(RequestQueue::kTransfer));
  EXPECT_EQ(drive_->ReplyBackup(51200, 0, buffer.data()), 51200u);
  EXPECT_EQ(buffer, block);
  EXPECT_EQ(result.get().reply.code, IOCTL_BACKUP_REPLY);
}

TEST_F(DriverBenchWithDrive, HandsBackTheLengthThatItSupplied) {
  std::vector<std::byte> buffer(10);
  auto shorter = Submit(RequestQueue::kTransfer, Request(MajorCode::kBackup, 10), Pattern(4));
  ASSERT_TRUE(drive_->Fetch(RequestQueue::kTransfer));
  EXPECT_EQ(drive_->ReplyBackup(10, 0, buffer.data()), 4u);
  auto longer = Submit(RequestQueue::kTransfer, Request(MajorCode::kBackup, 10), Pattern(20));
  ASSERT_TRUE(drive_->Fetch(RequestQueue::kTransfer));
  EXPECT_EQ(drive_->ReplyBackup(6, 0, buffer.data()), 6u);
  EXPECT_EQ(buffer[6], std::byte{0});
  auto none = Submit(RequestQueue::kTransfer, Request(MajorCode::kBackup, 10));
  ASSERT_TRUE(drive_->Fetch(RequestQueue::kTransfer));
  EXPECT_EQ(drive_->ReplyBackup(10, 0, buffer.data()), 0u);
  EXPECT_EQ(none.get().outcome, Outcome::kReplied);
}

TEST_F(DriverBenchWithDrive, LeavesTheBufferOfARefusedBlockAlone) {
  std::vector<std::byte> buffer(10);
  auto result = Submit(RequestQueue::kTransfer, Request(MajorCode::kBackup, 10), Pattern(10));
  ASSERT_TRUE(drive_->Fetch(RequestQueue::kTransfer));
  EXPECT_EQ(drive_->ReplyBackup(0, 1, buffer.data()), 0u);
  EXPECT_EQ(buffer, std::vector<std::byte>(10));
}

TEST_F(DriverBenchWithDrive, FailsAsManyFetchesAsTold) {
  auto waiting = std::async(std::launch::async, [&] { return drive_->Fetch(RequestQueue::kInfo); });
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kInfo));
  bench_->FailFetches(RequestQueue::kInfo, 2);
  EXPECT_FALSE(waiting.get());
  EXPECT_FALSE(drive_->Fetch(RequestQueue::kInfo));
  auto result = Submit(RequestQueue::kInfo, Request(MajorCode::kDelete));
  EXPECT_TRUE(drive_->Fetch(RequestQueue::kInfo));
  EXPECT_EQ(bench_->CallCount(IOCTL_GET_INFO_REQUEST), 3u);
  drive_->Close();
  EXPECT_EQ(result.get().outcome, Outcome::kWorkerGone);
}

TEST_F(DriverBenchWithDrive, RefusesAsManyRepliesAsTold) {
  bench_->RefuseReplies(1);
  auto result = Submit(RequestQueue::kInfo, Request(MajorCode::kDelete));
  ASSERT_TRUE(drive_->Fetch(RequestQueue::kInfo));
  EXPECT_FALSE(drive_->ReplyStatus(IOCTL_NAMESPACE_REPLY, 100));
  EXPECT_TRUE(drive_->ReplyStatus(IOCTL_NAMESPACE_REPLY, 101));
  EXPECT_EQ(result.get().reply.record[0], std::byte{101});
}

TEST_F(DriverBenchWithDrive, EndsOneQueueWithoutTheOther) {
  auto info = std::async(std::launch::async, [&] { return drive_->Fetch(RequestQueue::kInfo); });
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kInfo));
  bench_->EndPolling(RequestQueue::kInfo);
  EXPECT_EQ(info.get()->major, 0xFFFFFFFFu);
  EXPECT_EQ(drive_->Fetch(RequestQueue::kInfo)->major, 0xFFFFFFFFu);
  auto result = Submit(RequestQueue::kTransfer, Request(MajorCode::kRestore));
  EXPECT_EQ(drive_->Fetch(RequestQueue::kTransfer)->major, 4u);
  EXPECT_TRUE(drive_->ReplyRestore(0, 0, nullptr));
  EXPECT_EQ(result.get().outcome, Outcome::kReplied);
}

TEST_F(DriverBenchWithDrive, WithdrawsARequestThatNobodyFetchedInTime) {
  const auto late = bench_->Submit(RequestQueue::kInfo, BytesOf(Request(MajorCode::kDelete)), {},
                                   milliseconds(1));
  EXPECT_EQ(late.outcome, Outcome::kTimedOut);
  auto result = Submit(RequestQueue::kInfo, Request(MajorCode::kRename));
  EXPECT_EQ(drive_->Fetch(RequestQueue::kInfo)->major, 6u);
  EXPECT_TRUE(drive_->ReplyStatus(IOCTL_NAMESPACE_REPLY, 100));
  EXPECT_EQ(result.get().outcome, Outcome::kReplied);
}

TEST_F(DriverBenchWithDrive, TakesALateReplyAndDropsIt) {
  auto fetched =
      std::async(std::launch::async, [&] { return drive_->Fetch(RequestQueue::kTransfer); });
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kTransfer));
  const auto late = bench_->Submit(RequestQueue::kTransfer, BytesOf(Request(MajorCode::kBackup, 4)),
                                   Pattern(4), milliseconds(1));
  EXPECT_EQ(late.outcome, Outcome::kTimedOut);
  ASSERT_TRUE(fetched.get());
  std::vector<std::byte> buffer(4);
  EXPECT_EQ(drive_->ReplyBackup(4, 0, buffer.data()), 0u);
  EXPECT_EQ(buffer, std::vector<std::byte>(4));
}

TEST_F(DriverBenchWithDrive, ServesRequestsInTheOrderOfSubmission) {
  std::vector<std::future<SubmitResult>> results;
  auto fetched = [&] { return drive_->Fetch(RequestQueue::kInfo)->length_or_index; };
  // The first one waits alone; each further one is submitted while the one before is in flight.
  results.push_back(Submit(RequestQueue::kInfo, Request(MajorCode::kDirectory, 1)));
  for (std::uint32_t index = 1; index <= 20; ++index) {
    ASSERT_EQ(fetched(), index);
    results.push_back(Submit(RequestQueue::kInfo, Request(MajorCode::kDirectory, index + 1)));
    EXPECT_TRUE(drive_->ReplyStatus(IOCTL_NAMESPACE_REPLY, index));
  }
  for (std::uint32_t index = 1; index <= 20; ++index) {
    EXPECT_EQ(results[index - 1].get().reply.record[0], static_cast<std::byte>(index));
  }
  EXPECT_EQ(fetched(), 21u);
  drive_->Close();
}

TEST_F(DriverBenchWithDrive, KeepsTheLastCallsAndCountsThemAll) {
  for (std::uint32_t i = 0; i < DriverBench::kKeptCalls + 10; ++i)
    EXPECT_FALSE(drive_->ReplyStatus(IOCTL_NAMESPACE_REPLY, i));
  EXPECT_FALSE(drive_->Call(0x00282028, "ab", 2));
  const auto calls = bench_->Calls();
  ASSERT_EQ(calls.size(), DriverBench::kKeptCalls);
  EXPECT_EQ(calls.front().input[0], std::byte{11});
  EXPECT_EQ(calls.back().code, 0x00282028u);
  EXPECT_EQ(calls.back().input.size(), 2u);
  EXPECT_EQ(bench_->CallCount(IOCTL_NAMESPACE_REPLY), DriverBench::kKeptCalls + 10);
  EXPECT_TRUE(bench_->WaitForCalls(0x00282028, 1));
  EXPECT_FALSE(bench_->WaitForCalls(0x00282028, 2, milliseconds(1)));
}

}  // namespace
}  // namespace zv::testing
