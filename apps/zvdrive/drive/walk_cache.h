// What directory walks taught: the entries of folders, for the look-ups that follow.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "apps/zvdrive/drive/drive_requests.h"
#include "platform/text.h"

namespace zv {

// Not thread-safe: the drive calls it under its own lock.
class WalkCache {
 public:
  using Clock = std::chrono::steady_clock;
  using Nodes = std::unordered_map<Text, NodeInfo>;

  explicit WalkCache(std::chrono::milliseconds lifetime) : lifetime_(lifetime) {}

  // Taken before a walk begins and handed to Store: a change that was made meanwhile makes the
  // walk's result stale at once.
  uint64_t BeginWalk(TextView folder);
  void Store(TextView folder, const std::vector<NamedNode>& nodes, uint64_t walk);

  // The folder's entries when its last walk is young enough.
  const Nodes* Fresh(TextView folder) const;
  // The folder's entries as the last walk and the changes since left them, however old; null before
  // the first walk.
  const Nodes* Latest(TextView folder) const;
  // Whether the folder was walked since the drive was mounted.
  bool WasWalked(TextView folder) const;

  // Local changes, taken over into the walk of the parent.
  void Put(TextView path, const NodeInfo& info);
  void Drop(TextView path);
  // Everything known of the folder's entries is out of date.
  void Expire(TextView folder);
  // Forgets the folder and all beneath it.
  void Forget(TextView folder);

 private:
  struct Folder {
    Nodes nodes;
    Clock::time_point walked;
    bool was_walked = false;
    bool is_current = false;
    uint64_t changes = 0;
  };

  std::chrono::milliseconds lifetime_;
  std::unordered_map<Text, Folder> folders_;
};

}  // namespace zv
