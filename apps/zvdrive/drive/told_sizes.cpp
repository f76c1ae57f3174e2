#include "apps/zvdrive/drive/told_sizes.h"

#include <functional>

namespace zv {
namespace {

// Told one after the other: replies overtake each other, so the kernel may believe in either.
constexpr int64_t kSeveral = -1;

}  // namespace

void ToldSizes::Note(std::string_view path, int64_t size, Time now) {
  const std::lock_guard lock(mutex_);
  DropExpired(now);
  Told& told = told_[std::hash<std::string_view>()(path)];
  const bool is_first = told.until <= now;
  told = {is_first || told.size == size ? size : kSeveral, now + lifetime_};
}

bool ToldSizes::MayDiffer(std::string_view path, int64_t size, Time now) const {
  const std::lock_guard lock(mutex_);
  const auto found = told_.find(std::hash<std::string_view>()(path));
  return found != told_.end() && found->second.until > now && found->second.size != size;
}

void ToldSizes::DropExpired(Time now) {
  if (now < next_look_) return;
  next_look_ = now + lifetime_;
  std::erase_if(told_, [now](const auto& entry) { return entry.second.until <= now; });
}

}  // namespace zv
