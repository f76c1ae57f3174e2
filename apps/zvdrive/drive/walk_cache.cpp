#include "apps/zvdrive/drive/walk_cache.h"

#include <utility>

#include "apps/zvdrive/drive/drive_path.h"

namespace zv {

const WalkCache::Folder* WalkCache::Find(TextView folder) const {
  const auto found = folders_.find(Text(folder));
  return found == folders_.end() ? nullptr : &found->second;
}

WalkCache::Folder* WalkCache::Find(TextView folder) {
  return const_cast<Folder*>(std::as_const(*this).Find(folder));
}

uint64_t WalkCache::BeginAsking(TextView folder) {
  const auto [entry, added] = folders_.try_emplace(Text(folder));
  // Another one than that of a walk which began before the folder was forgotten.
  if (added) entry->second.change = ++last_change_;
  return entry->second.change;
}

void WalkCache::Store(TextView folder, const std::vector<NamedNode>& nodes, uint64_t asked) {
  Folder* entry = Find(folder);
  if (!entry) return;
  entry->learnt.clear();
  entry->nodes.clear();
  entry->nodes.reserve(nodes.size());
  for (const NamedNode& node : nodes) entry->nodes.insert_or_assign(node.name, node.info);
  entry->walked = Clock::now();
  entry->was_walked = true;
  entry->is_current = entry->change == asked;
}

const WalkCache::Nodes* WalkCache::Fresh(TextView folder) const {
  const Folder* entry = Find(folder);
  if (!entry || !entry->is_current) return nullptr;
  return IsYoung(entry->walked) ? &entry->nodes : nullptr;
}

void WalkCache::Learn(TextView path, const NodeInfo& info, uint64_t asked) {
  Folder* parent = Find(ParentOf(path));
  if (!parent || parent->change != asked) return;
  parent->learnt.insert_or_assign(LeafOf(path), Learnt{info, Clock::now()});
}

const NodeInfo* WalkCache::FreshNode(TextView path) const {
  const Folder* parent = Find(ParentOf(path));
  if (!parent) return nullptr;
  const auto found = parent->learnt.find(LeafOf(path));
  const bool is_fresh = found != parent->learnt.end() && IsYoung(found->second.queried);
  return is_fresh ? &found->second.info : nullptr;
}

const WalkCache::Nodes* WalkCache::Latest(TextView folder) const {
  const Folder* entry = Find(folder);
  return entry && entry->was_walked ? &entry->nodes : nullptr;
}

bool WalkCache::WasWalked(TextView folder) const { return Latest(folder) != nullptr; }

void WalkCache::Put(TextView path, const NodeInfo& info) {
  Folder* parent = Find(ParentOf(path));
  if (!parent) return;
  parent->nodes.insert_or_assign(LeafOf(path), info);
  parent->learnt.erase(LeafOf(path));
  parent->change = ++last_change_;
}

void WalkCache::Drop(TextView path) {
  Folder* parent = Find(ParentOf(path));
  if (!parent) return;
  parent->nodes.erase(LeafOf(path));
  parent->learnt.erase(LeafOf(path));
  parent->change = ++last_change_;
}

void WalkCache::Expire(TextView folder) {
  Folder* entry = Find(folder);
  if (!entry) return;
  entry->is_current = false;
  entry->learnt.clear();
  entry->change = ++last_change_;
}

void WalkCache::Forget(TextView folder) {
  std::erase_if(folders_, [&](const auto& entry) { return IsWithin(entry.first, folder); });
}

}  // namespace zv
