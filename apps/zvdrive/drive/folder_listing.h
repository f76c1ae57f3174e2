// One listing of a folder, entry by entry.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>

#include "apps/zvdrive/drive/drive_error.h"
#include "apps/zvdrive/drive/drive_requests.h"

namespace zv {

// Filled by one thread while others read it: who reads need not wait for the end. Any thread.
class FolderListing {
 public:
  // The entry, which stays in place as long as the listing lives; waits for it while it may still
  // come. nullptr behind the last one.
  const NamedNode* At(size_t index);
  // The same without waiting: nullptr too when it is not there yet.
  const NamedNode* AtOnce(size_t index) const;
  // Of the listing as a whole: known once At gave nullptr.
  DriveError error() const;

  void Add(NamedNode node);
  // Nothing is added after it.
  void End(DriveError error);

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<NamedNode> nodes_;
  size_t awaited_ = SIZE_MAX;  // number of entries at which those who wait are woken
  bool ended_ = false;
  DriveError error_ = DriveError::kNone;
};

}  // namespace zv
