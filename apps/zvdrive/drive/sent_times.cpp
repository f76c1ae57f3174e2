#include "apps/zvdrive/drive/sent_times.h"

#include <new>

#include "apps/zvdrive/drive/drive_path.h"

namespace zv {

void SentTimes::Note(TextView path, Seconds1601 first, Seconds1601 last, Seconds1601 server) {
  sent_.insert_or_assign(Text(path), Sent{first, last, server});
}

void SentTimes::Correct(TextView path, NodeInfo& info) {
  if (sent_.empty()) return;
  const auto found = sent_.find(path);
  if (found == sent_.end()) return;
  const Sent& sent = found->second;
  const bool is_own = !info.is_folder && sent.first.value <= info.modified.value &&
                      info.modified.value <= sent.last.value;
  if (is_own) {
    info.modified = sent.server;
  } else {
    sent_.erase(found);
  }
}

void SentTimes::Move(TextView from, TextView to) noexcept {
  Forget(to);
  TextMap<Sent> moved;
  try {
    for (const auto& [path, sent] : sent_) {
      if (IsWithin(path, from)) moved.emplace(Text(to).append(path.substr(from.size())), sent);
    }
  } catch (const std::bad_alloc&) {
    moved.clear();
  }
  Forget(from);
  sent_.merge(moved);
}

void SentTimes::Forget(TextView path) noexcept {
  std::erase_if(sent_, [&](const auto& entry) { return IsWithin(entry.first, path); });
}

}  // namespace zv
