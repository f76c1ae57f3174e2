// The other process of the driver's tests: what the driver must release when a process goes away.
//   other_process worker   fetches one info request and waits for its end by force
//   other_process tester   submits one info request and waits for its end by force
#include <windows.h>

#include <cstring>

#include "tests/kernel_driver/fake_worker.h"
#include "tests/support/driver_bench_win32.h"

namespace {

constexpr std::chrono::milliseconds kForever{0xFFFFFFFF};

int FetchAndWait() {
  const auto drive = zv::testing::WorkerHandle::Drive();
  if (!drive.Fetch(zv::testing::RequestQueue::kInfo)) return 1;
  Sleep(INFINITE);
  return 0;
}

int SubmitAndWait() {
  const auto bench = zv::testing::JoinRunningDriver();
  if (bench == nullptr) return 1;
  zv::RequestRecord record;
  record.major = 5;
  bench->Submit(zv::testing::RequestQueue::kInfo, std::as_bytes(std::span(&record, 1)), {},
                kForever);
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return 2;
  if (std::strcmp(arguments[1], "worker") == 0) return FetchAndWait();
  if (std::strcmp(arguments[1], "tester") == 0) return SubmitAndWait();
  return 2;
}
