// The two loops: what they fetch, hand on, log and survive.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "cache/pending_uploads.h"
#include "driver/event_polling.h"
#include "platform/clock_testing.h"
#include "tests/driver/worker_fixture.h"

namespace zv::testing {
namespace {

class PollingTest : public WorkerTest {
 protected:
  // Ends one queue and waits until its thread has closed its handle; the other one goes on.
  void EndAlone(RequestQueue queue, RequestQueue other) {
    ASSERT_TRUE(bench_->WaitForFetch(queue));
    ASSERT_TRUE(bench_->WaitForFetch(other));
    bench_->EndPolling(queue);
    const auto end = std::chrono::steady_clock::now() + DriverBench::kPatience;
    while (bench_->Use(BenchDevice::kDrive).open_now > 1) {
      ASSERT_LT(std::chrono::steady_clock::now(), end);
      std::this_thread::yield();
    }
  }
};

TEST_F(PollingTest, LogsItsStartBeforeEveryFetch) {
  StartWorker();
  AskInfo(MakeRequest(MajorCode::kVolumeInfo, u""));
  AskInfo(MakeRequest(MajorCode::kVolumeInfo, u""));
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kInfo));
  EXPECT_EQ(CountPollLines(u"Started Info. polling"), 3u);
  StopWorker();
  EXPECT_EQ(CountPollLines(u"Drive handle created"), 2u);
  EXPECT_EQ(CountPollLines(u"Started Transfer polling"), 1u);
  EXPECT_EQ(CountPollLines(u"End Info. polling"), 1u);
  EXPECT_EQ(CountPollLines(u"End trf polling"), 1u);
}

TEST_F(PollingTest, FetchesWithAMajorCodeOfZero) {
  StartWorker();
  AskInfo(MakeRequest(MajorCode::kVolumeInfo, u"\\used before"));
  ASSERT_TRUE(bench_->WaitForCalls(IOCTL_GET_INFO_REQUEST, 2));
  for (const ControlCall& call : bench_->Calls()) {
    if (call.code != IOCTL_GET_INFO_REQUEST && call.code != IOCTL_GET_TRANSFER_REQUEST) continue;
    EXPECT_EQ(call.input.size(), 1112u);
    EXPECT_EQ(call.output_length, 1112u);
    EXPECT_EQ(std::vector(call.input.begin(), call.input.begin() + 4), std::vector(4, std::byte{}));
  }
}

TEST_F(PollingTest, UsesOneHandleForEachQueue) {
  StartWorker();
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kInfo));
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kTransfer));
  EXPECT_EQ(bench_->Use(BenchDevice::kDrive).open_now, 2u);
  StopWorker();
  EXPECT_EQ(bench_->Use(BenchDevice::kDrive).opens, 2u);
  EXPECT_EQ(bench_->Use(BenchDevice::kDrive).open_now, 0u);
}

TEST_F(PollingTest, ForgetsWhatAnEarlierProcessWasWriting) {
  home_.SetAccount(server_.host(), kUser, u"secret");
  PendingUploads pending{CacheNames()};
  ASSERT_TRUE(pending.Add(u"/half written", PendingKind::kBeingWritten, u""));
  ASSERT_TRUE(pending.Add(u"/whole", PendingKind::kContent, u""));
  StartWorker();
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kTransfer));
  const auto list = pending.List();
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].path, u"/whole");
}

TEST_F(PollingTest, GoesOnAfterAFailedFetch) {
  StartWorker();
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kInfo));
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kTransfer));
  bench_->FailFetches(RequestQueue::kInfo, 2);
  bench_->FailFetches(RequestQueue::kTransfer, 1);
  EXPECT_EQ(AskInfo(MakeRequest(MajorCode::kVolumeInfo, u"")).outcome, Outcome::kReplied);
  StopWorker();
  EXPECT_EQ(CountPollLines(u"Improper request 0 while info. polling"), 2u);
  EXPECT_EQ(CountPollLines(u"Improper request 0 while transfer polling"), 1u);
}

TEST_F(PollingTest, CallsTransferRequestsOnTheInfoQueueImproper) {
  StartWorker();
  for (const uint32_t major : {3u, 4u, 8u, 0x80000000u}) {
    const auto request = MakeRequest(static_cast<MajorCode>(major), u"\\a");
    EXPECT_EQ(AskInfo(request).outcome, Outcome::kNoReply);
  }
  StopWorker();
  EXPECT_TRUE(PollLogHas(u"Improper request 3 while info. polling"));
  EXPECT_TRUE(PollLogHas(u"Improper request 4 while info. polling"));
  EXPECT_TRUE(PollLogHas(u"Improper request 8 while info. polling"));
  EXPECT_TRUE(PollLogHas(u"Improper request -2147483648 while info. polling"));
}

TEST_F(PollingTest, CallsInfoRequestsOnTheTransferQueueImproper) {
  StartWorker();
  for (const uint32_t major : {1u, 2u, 5u, 6u, 7u}) {
    const auto request = MakeRequest(static_cast<MajorCode>(major), u"\\a");
    EXPECT_EQ(AskTransfer(request).outcome, Outcome::kNoReply);
  }
  StopWorker();
  for (const TextView major : {u"1", u"2", u"5", u"6", u"7"}) {
    EXPECT_TRUE(PollLogHas(Format(u"Improper request %s while transfer polling", major)));
  }
}

TEST_F(PollingTest, EndsOnlyWhenTheTransferQueueHasEndedToo) {
  StartWorker();
  EndAlone(RequestQueue::kInfo, RequestQueue::kTransfer);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(AskBlock(u"\\a", "block", 0, true).status, kTransferSuccess);
  }
  EXPECT_FALSE(polling_returned_);
  EXPECT_EQ(CountPollLines(u"End Info. polling"), 1u);
  EXPECT_EQ(CountPollLines(u"End trf polling"), 0u);
  StopWorker();
  EXPECT_TRUE(polling_returned_);
  EXPECT_EQ(CountPollLines(u"End trf polling"), 1u);
}

TEST_F(PollingTest, EndsOnlyWhenTheInfoQueueHasEndedToo) {
  StartWorker();
  EndAlone(RequestQueue::kTransfer, RequestQueue::kInfo);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(AskInfo(MakeRequest(MajorCode::kVolumeInfo, u"")).outcome, Outcome::kReplied);
  }
  EXPECT_FALSE(polling_returned_);
  EXPECT_EQ(CountPollLines(u"End trf polling"), 1u);
  EXPECT_EQ(CountPollLines(u"End Info. polling"), 0u);
  StopWorker();
  EXPECT_TRUE(polling_returned_);
  EXPECT_EQ(CountPollLines(u"End Info. polling"), 1u);
}

TEST_F(PollingTest, EndsWhenTheDriveIsDeleted) {
  StartWorker();
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kInfo));
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kTransfer));
  EXPECT_TRUE(bench_->RemoveDrive());
  EXPECT_EQ(polling_.Join(), 0u);
  is_polling_ = false;
  EXPECT_EQ(bench_->Use(BenchDevice::kDrive).open_now, 0u);
}

TEST_F(PollingTest, LooksForTheDriveOnceASecondAndWritesNothingMeanwhile) {
  std::atomic<uint32_t> sleeps = 0;
  std::atomic<bool> other_pauses = false;
  {
    const VirtualClock clock([&](uint32_t milliseconds) {
      if (milliseconds != 1000) other_pauses = true;
      if (++sleeps != 50) return;
      EXPECT_EQ(home_.LogText(kPollLog), u"");
      // The name is read anew for every try.
      home_.SetSetting(kConnectionSubKey, u"Local Name", u"Y:");
    });
    home_.SetAccount(server_.host(), kUser, u"secret");
    home_.SetSetting(kConnectionSubKey, u"Local Name", u"X:");
    ASSERT_TRUE(bench_->CreateDrive(u"Y:"));
    StartPollingThreads();
    ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kInfo));
    ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kTransfer));
    StopWorker();
  }
  EXPECT_GE(sleeps, 50u);
  EXPECT_FALSE(other_pauses);
  EXPECT_EQ(CountPollLines(u"Drive handle created"), 2u);
}

TEST_F(PollingTest, SurvivesARecordOfRandomBytes) {
  StartWorker();
  RequestRecord record;
  auto* bytes = reinterpret_cast<unsigned char*>(&record);
  for (size_t i = 0; i < sizeof record; ++i) bytes[i] = static_cast<unsigned char>(i * 37 + 101);
  EXPECT_EQ(AskInfo(record).outcome, Outcome::kNoReply);
  EXPECT_EQ(AskTransfer(record).outcome, Outcome::kNoReply);
  record.major = static_cast<uint32_t>(MajorCode::kQueryInfo);
  EXPECT_EQ(AskInfo(record).outcome, Outcome::kReplied);
}

}  // namespace
}  // namespace zv::testing
