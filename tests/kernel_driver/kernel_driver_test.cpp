// What only a driver in another process must stand: dead processes, addresses that are not there.
#include <windows.h>

#include <thread>

#include "tests/kernel_driver/driver_bench_fixture.h"

namespace zv::testing {
namespace {

using std::chrono::milliseconds;

using KernelDriver = DriverBenchTest;
using KernelDriverWithDrive = DriverBenchWithDrive;

TEST_F(KernelDriverWithDrive, ReportsAnAddressThatCannotBeCopied) {
  void* const nowhere = reinterpret_cast<void*>(0x10);
  auto restore = Submit(RequestQueue::kTransfer, Request(MajorCode::kRestore, 8));
  ASSERT_TRUE(drive_->Fetch(RequestQueue::kTransfer));
  EXPECT_TRUE(drive_->ReplyRestore(8, 0, nowhere));
  const auto answer = restore.get();
  EXPECT_TRUE(answer.reply.copy_failed);
  EXPECT_TRUE(answer.reply.data.empty());
  auto backup = Submit(RequestQueue::kTransfer, Request(MajorCode::kBackup, 8), Pattern(8));
  ASSERT_TRUE(drive_->Fetch(RequestQueue::kTransfer));
  EXPECT_EQ(drive_->ReplyBackup(8, 0, nowhere), 0u);
  EXPECT_TRUE(backup.get().reply.copy_failed);
}

// A process of its own, ended by force with the object.
class OtherProcess {
 public:
  explicit OtherProcess(const wchar_t* role) {
    std::wstring command = std::wstring(L"\"Z:" OTHER_PROCESS_FILE L"\" ") + role;
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                       &startup, &process_)) {
      CloseHandle(process_.hThread);
    }
  }
  ~OtherProcess() { Kill(); }
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;

  void Kill() {
    if (process_.hProcess == nullptr) return;
    TerminateProcess(process_.hProcess, 1);
    WaitForSingleObject(process_.hProcess, INFINITE);
    CloseHandle(std::exchange(process_.hProcess, nullptr));
  }

 private:
  PROCESS_INFORMATION process_ = {};
};

TEST_F(KernelDriverWithDrive, EndsTheRequestOfAWorkerThatDies) {
  OtherProcess worker(L"worker");
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kInfo));
  auto result = Submit(RequestQueue::kInfo, Request(MajorCode::kDelete));
  // The fetch is answered at once; when none waits any more, the request is in the worker's hands.
  while (bench_->WaitForFetch(RequestQueue::kInfo, milliseconds(0))) std::this_thread::yield();
  worker.Kill();
  EXPECT_EQ(result.get().outcome, Outcome::kWorkerGone);
}

TEST_F(KernelDriverWithDrive, ForgetsTheFetchOfAWorkerThatDies) {
  OtherProcess worker(L"worker");
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kInfo));
  worker.Kill();
  auto result = Submit(RequestQueue::kInfo, Request(MajorCode::kDelete));
  ASSERT_TRUE(drive_->Fetch(RequestQueue::kInfo));
  EXPECT_TRUE(drive_->ReplyStatus(IOCTL_NAMESPACE_REPLY, 100));
  EXPECT_EQ(result.get().outcome, Outcome::kReplied);
}

TEST_F(KernelDriverWithDrive, WithdrawsTheRequestOfATesterThatDies) {
  OtherProcess tester(L"tester");
  ASSERT_EQ(drive_->Fetch(RequestQueue::kInfo)->major, 5u);
  tester.Kill();
  EXPECT_TRUE(drive_->ReplyStatus(IOCTL_NAMESPACE_REPLY, 100)) << "taken, heard by nobody";
}

TEST_F(KernelDriver, StartsAnewFiveTimes) {
  for (int round = 0; round < 5; ++round) {
    ASSERT_TRUE(bench_->CreateDrive(u"Y:")) << round;
    const auto drive = WorkerHandle::Drive();
    auto fetch = std::async(std::launch::async, [&] { return drive.Fetch(RequestQueue::kInfo); });
    ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kInfo));
    bench_.reset();
    EXPECT_EQ(fetch.get()->major, 0xFFFFFFFFu);
    bench_ = DriverBench::Create();
    ASSERT_NE(bench_, nullptr) << round;
    EXPECT_EQ(bench_->DriveName(), u"");
    EXPECT_TRUE(bench_->Calls().empty());
    EXPECT_FALSE(WorkerHandle::Drive().IsOpen());
  }
}

}  // namespace
}  // namespace zv::testing
