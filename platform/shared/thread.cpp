#include "platform/thread.h"

#include <condition_variable>
#include <mutex>

namespace zv {

void WaitForAll(std::span<Thread> threads) {
  for (Thread& thread : threads) thread.Join();
}

struct Semaphore::Impl {
  std::mutex mutex;
  std::condition_variable raised;
  uint32_t count;
  uint32_t maximum;
};

Semaphore::Semaphore(uint32_t initial, uint32_t maximum) : impl_(std::make_unique<Impl>()) {
  impl_->count = initial;
  impl_->maximum = maximum;
}

Semaphore::~Semaphore() = default;

void Semaphore::Acquire() {
  std::unique_lock lock(impl_->mutex);
  impl_->raised.wait(lock, [this] { return impl_->count > 0; });
  --impl_->count;
}

bool Semaphore::Release() {
  // Signalled under the lock: the one who wakes up may destroy the semaphore.
  const std::lock_guard lock(impl_->mutex);
  if (impl_->count >= impl_->maximum) return false;
  ++impl_->count;
  impl_->raised.notify_one();
  return true;
}

}  // namespace zv
