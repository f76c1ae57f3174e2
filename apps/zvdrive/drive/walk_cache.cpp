#include "apps/zvdrive/drive/walk_cache.h"

#include <new>
#include <utility>

#include "apps/zvdrive/drive/drive_path.h"

namespace zv {

const WalkCache::Folder* WalkCache::Find(TextView folder) const {
  const auto found = folders_.find(folder);
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
  // Whole or not at all: a part of a walk would hide the rest.
  Nodes walked;
  walked.reserve(nodes.size());
  for (const NamedNode& node : nodes) walked.insert_or_assign(node.name, node.info);
  entry->learnt.clear();
  entry->nodes = std::move(walked);
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
  Folder* parent = Find(ParentPart(path));
  if (!parent || parent->change != asked) return;
  parent->learnt.insert_or_assign(LeafOf(path), Learnt{info, Clock::now()});
}

const NodeInfo* WalkCache::FreshNode(TextView path) const {
  const Folder* parent = Find(ParentPart(path));
  if (!parent) return nullptr;
  const auto found = parent->learnt.find(LeafPart(path));
  const bool is_fresh = found != parent->learnt.end() && IsYoung(found->second.queried);
  return is_fresh ? &found->second.info : nullptr;
}

const WalkCache::Nodes* WalkCache::Latest(TextView folder) const {
  const Folder* entry = Find(folder);
  return entry && entry->was_walked ? &entry->nodes : nullptr;
}

bool WalkCache::WasWalked(TextView folder) const { return Latest(folder) != nullptr; }

void WalkCache::Put(TextView path, const NodeInfo& info) noexcept {
  Folder* parent = Find(ParentPart(path));
  if (!parent) return;
  const TextView name = LeafPart(path);
  EraseFrom(parent->learnt, name);
  parent->change = ++last_change_;
  const auto known = parent->nodes.find(name);
  if (known != parent->nodes.end()) {
    known->second = info;
    return;
  }
  try {
    parent->nodes.emplace(name, info);
  } catch (const std::bad_alloc&) {
    parent->is_current = false;
  }
}

void WalkCache::Drop(TextView path) noexcept {
  Folder* parent = Find(ParentPart(path));
  if (!parent) return;
  EraseFrom(parent->nodes, LeafPart(path));
  EraseFrom(parent->learnt, LeafPart(path));
  parent->change = ++last_change_;
}

void WalkCache::Expire(TextView folder) noexcept {
  Folder* entry = Find(folder);
  if (!entry) return;
  entry->is_current = false;
  entry->learnt.clear();
  entry->change = ++last_change_;
}

void WalkCache::Forget(TextView folder) noexcept {
  std::erase_if(folders_, [&](const auto& entry) { return IsWithin(entry.first, folder); });
}

}  // namespace zv
