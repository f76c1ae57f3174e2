#include "driver/transfer_buffer.h"

#include <algorithm>
#include <atomic>

#include "driver/transfer_buffer_testing.h"

namespace zv {
namespace {

std::atomic<uint32_t> g_failures_left{0};

bool TakeFailure() {
  uint32_t left = g_failures_left.load();
  while (left > 0) {
    if (g_failures_left.compare_exchange_weak(left, left - 1)) return true;
  }
  return false;
}

}  // namespace

TransferBuffer::TransferBuffer(uint32_t size, Content content) {
  if (TakeFailure()) return;
  const size_t count = std::max<size_t>(size, 1);
  void* const memory = content == Content::kZeros ? std::calloc(count, 1) : std::malloc(count);
  bytes_.reset(static_cast<std::byte*>(memory));
}

namespace testing {
void FailTransferBuffers(uint32_t count) { g_failures_left = count; }
}  // namespace testing

}  // namespace zv
