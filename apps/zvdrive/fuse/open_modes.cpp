#include "apps/zvdrive/fuse/open_modes.h"

#include "platform/posix/native_file.h"

namespace zv {

// Others are counted, too: their replies may still be on the way to the kernel, which would refuse
// them once another open is passed through.
OpenMode OpenModes::Begin(const OpenFile* file, bool uncached,
                          const std::optional<ContentView>& view) {
  const std::lock_guard lock(mutex_);
  const auto [place, is_first] = opens_.try_emplace(file);
  Opens& opens = place->second;
  bool reads_past_us = false;
  try {
    reads_past_us = view && opens.others == 0 && TryPassThrough(opens, *view);
  } catch (...) {
    if (is_first) opens_.erase(place);
    throw;
  }
  if (!reads_past_us && opens.passed_through == 0) {
    ++opens.others;
    return {.is_passed_through = false, .is_uncached = uncached};
  }
  ++opens.passed_through;
  PassNextOpenThrough(*opens.backing);
  return {.is_passed_through = true, .is_uncached = !reads_past_us};
}

void OpenModes::End(const OpenFile* file, OpenMode mode) {
  const std::lock_guard lock(mutex_);
  const auto found = opens_.find(file);
  if (found == opens_.end()) return;
  Opens& opens = found->second;
  --(mode.is_passed_through ? opens.passed_through : opens.others);
  if (opens.passed_through == 0 && opens.others == 0) opens_.erase(found);
}

bool OpenModes::MayPassThrough(const OpenFile* file) {
  if (!IsPassthroughAccepted()) return false;
  const std::lock_guard lock(mutex_);
  const auto found = opens_.find(file);
  return found == opens_.end() || found->second.others == 0;
}

void OpenModes::ForgetAll() {
  const std::lock_guard lock(mutex_);
  opens_.clear();
}

bool OpenModes::TryPassThrough(Opens& opens, const ContentView& view) {
  const auto content = OpenNativeFile(view.content_file());
  if (!content) return false;
  if (opens.passed_through > 0) {
    return opens.device == content->device && opens.inode == content->inode;
  }
  if (content->size != view.size()) return false;
  std::optional<BackingFile> backing = BackingFile::Register(session_, content->descriptor.get());
  if (!backing) return false;
  opens.backing.emplace(*std::move(backing));
  opens.device = content->device;
  opens.inode = content->inode;
  return true;
}

}  // namespace zv
