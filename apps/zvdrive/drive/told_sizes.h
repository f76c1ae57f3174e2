// Which file sizes the kernel was told of a moment ago. It reads no file beyond the size that it
// knows, and asks again only when that has expired.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string_view>
#include <unordered_map>

namespace zv {

// Any thread.
class ToldSizes {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // lifetime: how long the kernel believes what it was told.
  explicit ToldSizes(std::chrono::steady_clock::duration lifetime) : lifetime_(lifetime) {}

  // size in bytes.
  void Note(std::string_view path, int64_t size, Time now);
  // True when the kernel may still believe in another size.
  bool MayDiffer(std::string_view path, int64_t size, Time now) const;

 private:
  struct Told {
    int64_t size = 0;
    Time until;
  };

  void DropExpired(Time now);

  const std::chrono::steady_clock::duration lifetime_;
  mutable std::mutex mutex_;
  std::unordered_map<size_t, Told> told_;  // by the path's hash
  Time next_look_;
};

}  // namespace zv
