#include "platform/posix/internet_pool.h"

#include <new>
#include <utility>

namespace zv {
namespace {

constexpr size_t kMostIdle = 16;

}  // namespace

std::shared_ptr<MultiPool> MultiPool::Instance() {
  static const std::shared_ptr<MultiPool> pool = [] {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    return std::make_shared<MultiPool>();
  }();
  return pool;
}

// Giving back happens in destructors: it has room without asking for memory.
MultiPool::MultiPool() { idle_.reserve(kMostIdle); }

MultiHandle MultiPool::Take() {
  {
    const std::lock_guard lock(mutex_);
    if (!idle_.empty()) {
      MultiHandle multi = std::move(idle_.back());
      idle_.pop_back();
      return multi;
    }
  }
  MultiHandle multi(curl_multi_init());
  if (!multi) throw std::bad_alloc();
  return multi;
}

void MultiPool::GiveBack(MultiHandle multi) noexcept {
  MultiHandle surplus;  // ends its connections after the lock is gone
  const std::lock_guard lock(mutex_);
  if (idle_.size() >= kMostIdle) {
    surplus = std::move(idle_.front());
    idle_.erase(idle_.begin());
  }
  idle_.push_back(std::move(multi));
}

}  // namespace zv
