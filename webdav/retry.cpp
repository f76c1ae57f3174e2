#include "webdav/retry.h"

#include <atomic>

namespace zv {
namespace {

std::atomic<int16_t> retry_count = 0;
std::atomic<int16_t> retry_wait = 0;

}  // namespace

int16_t RetryCount() { return retry_count; }
int16_t RetryWait() { return retry_wait; }

void SetRetrySettings(int16_t count, int16_t wait_ms) {
  retry_count = count;
  retry_wait = wait_ms;
}

}  // namespace zv
