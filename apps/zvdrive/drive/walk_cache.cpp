#include "apps/zvdrive/drive/walk_cache.h"

#include "apps/zvdrive/drive/drive_path.h"

namespace zv {

uint64_t WalkCache::BeginWalk(TextView folder) { return folders_[Text(folder)].changes; }

void WalkCache::Store(TextView folder, const std::vector<NamedNode>& nodes, uint64_t walk) {
  Folder& entry = folders_[Text(folder)];
  entry.nodes.clear();
  entry.nodes.reserve(nodes.size());
  for (const NamedNode& node : nodes) entry.nodes.insert_or_assign(node.name, node.info);
  entry.walked = Clock::now();
  entry.was_walked = true;
  entry.is_current = entry.changes == walk;
}

const WalkCache::Nodes* WalkCache::Fresh(TextView folder) const {
  const auto found = folders_.find(Text(folder));
  if (found == folders_.end() || !found->second.is_current) return nullptr;
  return Clock::now() - found->second.walked <= lifetime_ ? &found->second.nodes : nullptr;
}

const WalkCache::Nodes* WalkCache::Latest(TextView folder) const {
  const auto found = folders_.find(Text(folder));
  return found != folders_.end() && found->second.was_walked ? &found->second.nodes : nullptr;
}

bool WalkCache::WasWalked(TextView folder) const { return Latest(folder) != nullptr; }

void WalkCache::Put(TextView path, const NodeInfo& info) {
  Folder& parent = folders_[ParentOf(path)];
  parent.nodes.insert_or_assign(LeafOf(path), info);
  ++parent.changes;
}

void WalkCache::Drop(TextView path) {
  Folder& parent = folders_[ParentOf(path)];
  parent.nodes.erase(LeafOf(path));
  ++parent.changes;
}

void WalkCache::Expire(TextView folder) {
  Folder& entry = folders_[Text(folder)];
  entry.is_current = false;
  ++entry.changes;
}

void WalkCache::Forget(TextView folder) {
  std::erase_if(folders_, [&](const auto& entry) { return IsWithin(entry.first, folder); });
}

}  // namespace zv
