#include "platform/posix/internet_pool.h"

#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace zv {
namespace {

constexpr size_t kMostIdle = 16;

}  // namespace

class HandlePool {
 public:
  static std::shared_ptr<HandlePool> Instance() {
    static const std::shared_ptr<HandlePool> pool = [] {
      curl_global_init(CURL_GLOBAL_DEFAULT);
      return std::make_shared<HandlePool>();
    }();
    return pool;
  }

  // Giving back happens in destructors: it has room without asking for memory.
  HandlePool() { idle_.reserve(kMostIdle); }

  // Null when none waits.
  std::unique_ptr<HandlePair> Take() {
    const std::lock_guard lock(mutex_);
    if (idle_.empty()) return nullptr;
    std::unique_ptr<HandlePair> pair = std::move(idle_.back());
    idle_.pop_back();
    return pair;
  }

  void GiveBack(std::unique_ptr<HandlePair> pair) noexcept {
    std::unique_ptr<HandlePair> surplus;  // ends its connections after the lock is gone
    const std::lock_guard lock(mutex_);
    if (idle_.size() >= kMostIdle) {
      surplus = std::move(idle_.front());
      idle_.erase(idle_.begin());
    }
    idle_.push_back(std::move(pair));
  }

 private:
  std::mutex mutex_;
  std::vector<std::unique_ptr<HandlePair>> idle_;
};

void HandleReturner::operator()(HandlePair* pair) const noexcept {
  std::unique_ptr<HandlePair> owned(pair);
  // A transfer that is not over loses its connection by this.
  curl_multi_remove_handle(owned->multi.get(), owned->easy.get());
  if (owned->ended_well) {
    curl_easy_reset(owned->easy.get());
    owned->ended_well = false;
  } else {
    owned->easy.reset();
  }
  pool->GiveBack(std::move(owned));
}

LeasedHandles TakeHandles() {
  auto pool = HandlePool::Instance();
  std::unique_ptr<HandlePair> pair = pool->Take();
  if (!pair) {
    pair = std::make_unique<HandlePair>();
    pair->multi.reset(curl_multi_init());
  }
  if (!pair->easy) pair->easy.reset(curl_easy_init());
  if (!pair->multi || !pair->easy) throw std::bad_alloc();
  return {pair.release(), HandleReturner{std::move(pool)}};
}

}  // namespace zv
