// Steering the clock in tests.
#pragma once

#include <cstdint>
#include <functional>

#include "platform/clock.h"

namespace zv::testing {

// While one of these lives, SleepMs returns at once, calls the observer and moves the clock on by
// what was asked; SystemTime and UnixTime are the real ones plus all that was slept, or `start`
// plus it when given. One at a time; process-wide; any thread may sleep meanwhile.
class VirtualClock {
 public:
  explicit VirtualClock(std::function<void(uint32_t milliseconds)> on_sleep = {});
  VirtualClock(FileTime start, std::function<void(uint32_t milliseconds)> on_sleep = {});
  ~VirtualClock();
  VirtualClock(const VirtualClock&) = delete;
  VirtualClock& operator=(const VirtualClock&) = delete;

  void Advance(uint32_t milliseconds);
  uint64_t slept_ms() const;  // all sleeps since construction
};

}  // namespace zv::testing
