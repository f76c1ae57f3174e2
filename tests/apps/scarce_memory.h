// Memory that runs out: on one thread, at one allocation.
#pragma once

#include <cstddef>

namespace zv::testing {

// While it lives, the allocation of that number that this thread makes fails, counted from 1.
class ScarceMemory {
 public:
  explicit ScarceMemory(size_t failing);
  ~ScarceMemory();
  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;

  static bool HasFailed();
};

// While it lives, what this thread allocates neither fails nor counts, or does so again.
class AllocationsFail {
 public:
  explicit AllocationsFail(bool may_fail);
  ~AllocationsFail();
  AllocationsFail(const AllocationsFail&) = delete;
  AllocationsFail& operator=(const AllocationsFail&) = delete;

 private:
  const bool before_;
};

}  // namespace zv::testing
