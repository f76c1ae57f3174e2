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
    if (lock.try_lock_for(kNowAndThen)) break;
  }
  return lock;
}

}  // namespace zv
