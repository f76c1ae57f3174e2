#include "tests/apps/scarce_memory.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace {

thread_local bool may_fail = false;
thread_local size_t until_failure = 0;
thread_local bool has_failed = false;

void* Allocate(size_t size, size_t alignment) {
  if (may_fail && until_failure > 0 && --until_failure == 0) {
    has_failed = true;
    throw std::bad_alloc();
  }
  const size_t whole = (size + alignment - 1) / alignment * alignment;
  void* const memory = std::aligned_alloc(alignment, whole == 0 ? alignment : whole);
  if (!memory) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(size_t size) { return Allocate(size, alignof(std::max_align_t)); }
void* operator new(size_t size, std::align_val_t alignment) {
  return Allocate(size, static_cast<size_t>(alignment));
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, size_t, std::align_val_t) noexcept { std::free(memory); }

namespace zv::testing {

ScarceMemory::ScarceMemory(size_t failing) {
  until_failure = failing;
  has_failed = false;
  may_fail = true;
}
ScarceMemory::~ScarceMemory() { may_fail = false; }
bool ScarceMemory::HasFailed() { return has_failed; }

AllocationsFail::AllocationsFail(bool may)
    : before_(std::exchange(may_fail, may && until_failure > 0)) {}
AllocationsFail::~AllocationsFail() { may_fail = before_; }

}  // namespace zv::testing
