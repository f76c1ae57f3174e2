#include "apps/zvdrive/transfer_stopper.h"

#include <array>
#include <chrono>

#include "apps/zvdrive/cancel_transfer.h"
#include "include/zvworker/zvworker.h"
#include "platform/error.h"

namespace zv {
namespace {

constexpr std::chrono::milliseconds kInterval{100};

// The name as it was read: between two attempts it is empty, and the request meets the next one.
void CancelCurrentTransfer() {
  std::array<ZvChar, kTransferNameUnits> name{};
  GetInternetDetails(name.data(), nullptr, nullptr, nullptr, ZV_READ_PROGRESS);
  GetInternetDetails(name.data(), nullptr, nullptr, nullptr, ZV_CANCEL_TRANSFER);
}

// What nobody took up concerns no later transfer.
void DropRequest() {
  if (GetInternetDetails(nullptr, nullptr, nullptr, nullptr, ZV_READ_PROGRESS) == ZV_IDLE) {
    ResetProgressDetails();
  }
}

}  // namespace

TransferStopper::TransferStopper() {
  try {
    thread_ = Thread::Start([this] { return Run(); });
  } catch (const Error&) {
    // Without it the end only takes longer.
  }
}

TransferStopper::~TransferStopper() {
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
  }
  stopped_.notify_all();
  thread_.Join();
  DropRequest();
}

uint32_t TransferStopper::Run() {
  std::unique_lock lock(mutex_);
  do {
    CancelCurrentTransfer();
  } while (!stopped_.wait_for(lock, kInterval, [this] { return stop_; }));
  return 0;
}

}  // namespace zv
