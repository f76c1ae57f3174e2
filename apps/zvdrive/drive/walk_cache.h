// What directory walks and queries taught: the entries of folders, for the look-ups that follow.
#pragma once

#include <chrono>
#include <vector>

#include "apps/zvdrive/drive/drive_requests.h"
#include "apps/zvdrive/drive/text_map.h"
#include "platform/text.h"

namespace zv {

// Not thread-safe: the drive calls it under its own lock.
class WalkCache {
 public:
  using Clock = std::chrono::steady_clock;
  using Nodes = TextMap<NodeInfo>;

  explicit WalkCache(std::chrono::milliseconds lifetime) : lifetime_(lifetime) {}

  // Taken before a walk of the folder, or a query of one of its entries, begins and handed to Store
  // or Learn: a change that is made meanwhile makes the answer stale at once.
  uint64_t BeginAsking(TextView folder);
  void Store(TextView folder, const std::vector<NamedNode>& nodes, uint64_t asked);
  // Of one entry of a folder that was walked before.
  void Learn(TextView path, const NodeInfo& info, uint64_t asked);

  // The folder's entries when its last walk is young enough.
  const Nodes* Fresh(TextView folder) const;
  // One entry, when the last query of it is young enough.
  const NodeInfo* FreshNode(TextView path) const;
  // The folder's entries as the last walk and the changes since left them, however old; null before
  // the first walk.
  const Nodes* Latest(TextView folder) const;
  // Whether the folder was walked since the drive was mounted.
  bool WasWalked(TextView folder) const;

  // Local changes, taken over into the last walk of the parent, if there was one. None of them
  // fails: what they tell of has happened. For want of memory a new entry makes that walk stale.
  void Put(TextView path, const NodeInfo& info) noexcept;
  void Drop(TextView path) noexcept;
  // Everything known of the folder's entries is out of date.
  void Expire(TextView folder) noexcept;
  // Forgets the folder and all beneath it.
  void Forget(TextView folder) noexcept;

 private:
  struct Learnt {
    NodeInfo info;
    Clock::time_point queried;
  };
  struct Folder {
    Nodes nodes;
    TextMap<Learnt> learnt;  // since the walk and the last change of the entry
    Clock::time_point walked;
    bool was_walked = false;
    bool is_current = false;
    uint64_t change = 0;  // the last one that concerns it
  };

  bool IsYoung(Clock::time_point asked) const { return Clock::now() - asked <= lifetime_; }
  // Null when the folder is not being walked and never was.
  Folder* Find(TextView folder);
  const Folder* Find(TextView folder) const;

  std::chrono::milliseconds lifetime_;
  uint64_t last_change_ = 0;
  TextMap<Folder> folders_;
};

}  // namespace zv
