#include "apps/zvdrive/drive/folder_listing.h"

#include <algorithm>
#include <utility>

namespace zv {
namespace {

// Who waits is woken when so many entries are there: for each single one it would cost more than
// what is gained.
constexpr size_t kBatch = 128;

}  // namespace

const NamedNode* FolderListing::At(size_t index) {
  std::unique_lock lock(mutex_);
  if (index < nodes_.size()) return &nodes_[index];
  const size_t enough = index + kBatch;
  while (!ended_ && nodes_.size() < enough) {
    awaited_ = std::min(awaited_, enough);
    changed_.wait(lock);
  }
  return index < nodes_.size() ? &nodes_[index] : nullptr;
}

const NamedNode* FolderListing::AtOnce(size_t index) const {
  const std::lock_guard lock(mutex_);
  return index < nodes_.size() ? &nodes_[index] : nullptr;
}

DriveError FolderListing::error() const {
  const std::lock_guard lock(mutex_);
  return error_;
}

void FolderListing::Add(NamedNode node) {
  const std::lock_guard lock(mutex_);
  nodes_.push_back(std::move(node));
  if (nodes_.size() < awaited_) return;
  awaited_ = SIZE_MAX;
  changed_.notify_all();
}

void FolderListing::End(DriveError error) {
  const std::lock_guard lock(mutex_);
  ended_ = true;
  error_ = error;
  changed_.notify_all();
}

}  // namespace zv
