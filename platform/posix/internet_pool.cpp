#include "platform/posix/internet_pool.h"

#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace zv {
namespace {

constexpr size_t kMostIdle = 16;

}  // namespace

class LinePool {
 public:
  static std::shared_ptr<LinePool> Instance() {
    static const std::shared_ptr<LinePool> pool = [] {
      curl_global_init(CURL_GLOBAL_DEFAULT);
      return std::make_shared<LinePool>();
    }();
    return pool;
  }

  // Giving back happens in destructors: it has room without asking for memory.
  LinePool() { idle_.reserve(kMostIdle); }

  // Null when none waits.
  std::unique_ptr<Line> Take() {
    const std::lock_guard lock(mutex_);
    if (idle_.empty()) return nullptr;
    std::unique_ptr<Line> line = std::move(idle_.back());
    idle_.pop_back();
    return line;
  }

  void GiveBack(std::unique_ptr<Line> line) noexcept {
    std::unique_ptr<Line> surplus;  // ends its connections after the lock is gone
    const std::lock_guard lock(mutex_);
    if (idle_.size() >= kMostIdle) {
      surplus = std::move(idle_.front());
      idle_.erase(idle_.begin());
    }
    idle_.push_back(std::move(line));
  }

 private:
  std::mutex mutex_;
  std::vector<std::unique_ptr<Line>> idle_;
};

void LineReturner::operator()(Line* line) const noexcept {
  std::unique_ptr<Line> owned(line);
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

LeasedLine TakeLine() {
  auto pool = LinePool::Instance();
  std::unique_ptr<Line> line = pool->Take();
  if (!line)
    line = std::make_unique<Line>(Line{.multi = MultiHandle(curl_multi_init()), .easy = {}});
  if (!line->easy) line->easy.reset(curl_easy_init());
  if (!line->multi || !line->easy) throw std::bad_alloc();
  return {line.release(), LineReturner{std::move(pool)}};
}

}  // namespace zv
