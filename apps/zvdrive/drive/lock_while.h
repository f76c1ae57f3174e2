// Waiting for a mutex that may be held for as long as a transfer takes.
#pragma once

#include <chrono>
#include <mutex>

#include "apps/zvdrive/drive/request_channel.h"

namespace zv {

using PatientLock = std::unique_lock<std::timed_mutex>;

// Holds nothing when while_waiting (may be empty) would rather not wait any longer.
inline PatientLock LockWhile(std::timed_mutex& mutex, const WhileWaiting& while_waiting) {
  constexpr std::chrono::milliseconds kNowAndThen{50};
  if (!while_waiting) return PatientLock(mutex);
  PatientLock lock(mutex, std::try_to_lock);
  while (!lock && while_waiting()) {
    // By this clock: the thread sanitizer sees no lock that was got by the steady one.
    if (lock.try_lock_until(std::chrono::system_clock::now() + kNowAndThen)) break;
  }
  return lock;
}

}  // namespace zv
