// What programs have open, by the numbers that FUSE keeps for us between open and release.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace zv {

// What is open while the folder is unmounted is never released: it goes with this object. Any
// thread.
template <typename T>
class OpenHandles {
 public:
  uint64_t Keep(std::unique_ptr<T> handle) {
    const auto number = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(handle.get()));
    const std::lock_guard lock(mutex_);
    handles_[number] = std::move(handle);
    return number;
  }

  static T& Of(uint64_t number) { return *reinterpret_cast<T*>(static_cast<uintptr_t>(number)); }

  // None is kept or released meanwhile.
  template <typename Visitor>
  void ForEach(Visitor&& visit) {
    const std::lock_guard lock(mutex_);
    for (const auto& [number, handle] : handles_) visit(*handle);
  }

  std::unique_ptr<T> Release(uint64_t number) {
    const std::lock_guard lock(mutex_);
    return std::move(handles_.extract(number).mapped());
  }

 private:
  std::mutex mutex_;
  std::unordered_map<uint64_t, std::unique_ptr<T>> handles_;
};

}  // namespace zv
