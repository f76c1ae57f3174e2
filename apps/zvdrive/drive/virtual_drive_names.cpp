// Names: making folders, removing, renaming.
#include "apps/zvdrive/drive/drive_path.h"
#include "apps/zvdrive/drive/virtual_drive.h"

namespace zv {

DriveError VirtualDrive::MakeFolder(TextView path) {
  if (const DriveError error = CheckNewPath(path); error != DriveError::kNone) return error;
  const auto info = Look(path);
  if (info) return DriveError::kExists;
  if (info.error != DriveError::kNotFound) return info.error;
  if (!Claim(path, true)) return DriveError::kNotUnique;
  if (const DriveError error = requests_.MakeFolder(path); error != DriveError::kNone) return error;
  const Seconds1601 now = ToSeconds(SystemTime());
  const std::lock_guard lock(mutex_);
  walks_.Put(path, {.is_folder = true, .size = 0, .created = now, .modified = now});
  return DriveError::kNone;
}

DriveError VirtualDrive::RemoveFile(TextView path, TextView process) {
  const std::lock_guard turn(rename_mutex_);
  const auto info = Look(path);
  if (!info) return info.error;
  if (info.value.is_folder) return DriveError::kIsFolder;
  return Remove(path, process);
}

DriveError VirtualDrive::RemoveFolder(TextView path, TextView process) {
  if (path == kDriveRoot) return DriveError::kNotPermitted;
  const std::lock_guard turn(rename_mutex_);
  const auto info = Look(path);
  if (!info) return info.error;
  if (!info.value.is_folder) return DriveError::kNotFolder;
  // The worker's delete takes the whole subtree: what is in there must be known for certain.
  if (const DriveError error = WalkFolder(path, true); error != DriveError::kNone) return error;
  const auto nodes = List(path);
  if (!nodes) return nodes.error;
  if (!nodes.value.empty()) return DriveError::kNotEmpty;
  return Remove(path, process);
}

DriveError VirtualDrive::Remove(TextView path, TextView process) {
  const auto open = OpenWithin(path);
  std::vector<std::unique_lock<std::mutex>> locks;
  for (const FileHandle& file : open) locks.emplace_back(file->mutex);
  DriveError error = requests_.Delete(path, process);
  if (error != DriveError::kNone && host_.IsUnsent(path)) {
    // The server may never have had it, and then refuses to delete it: give it something to delete.
    if (requests_.WriteEmptyFile(path, process) == DriveError::kNone) {
      error = requests_.Delete(path, process);
    }
  }
  if (error != DriveError::kNone) return error;
  for (const FileHandle& file : open) file->is_gone = true;
  ForgetRemoved(path);
  return DriveError::kNone;
}

void VirtualDrive::ForgetRemoved(TextView path) {
  const std::lock_guard lock(mutex_);
  walks_.Drop(path);
  walks_.Forget(path);
  names_.Release(path);
  seen_versions_.erase(Text(path));
}

DriveError VirtualDrive::CheckRename(TextView from, const NodeInfo& source, TextView to,
                                     bool replace) {
  if (const DriveError error = CheckNewPath(to); error != DriveError::kNone) return error;
  if (IsWithin(to, from)) return DriveError::kIntoItself;
  const auto target = Look(to);
  if (!target) {
    return target.error == DriveError::kNotFound ? DriveError::kNone : target.error;
  }
  if (!replace) return DriveError::kExists;
  if (source.is_folder != target.value.is_folder) {
    return source.is_folder ? DriveError::kNotFolder : DriveError::kIsFolder;
  }
  if (!target.value.is_folder) return DriveError::kNone;
  if (const DriveError error = WalkFolder(to, true); error != DriveError::kNone) return error;
  const auto nodes = List(to);
  if (!nodes) return nodes.error;
  return nodes.value.empty() ? DriveError::kNone : DriveError::kNotEmpty;
}

DriveError VirtualDrive::Rename(TextView from, TextView to, bool replace, TextView process) {
  if (from == kDriveRoot || to == kDriveRoot) return DriveError::kNotPermitted;
  const std::lock_guard turn(rename_mutex_);
  const auto source = Look(from);
  if (!source) return source.error;
  if (from == to) return DriveError::kNone;
  if (const DriveError error = CheckRename(from, source.value, to, replace);
      error != DriveError::kNone) {
    return error;
  }
  return RenameLocked(from, source.value, to, replace, process);
}

DriveError VirtualDrive::RenameLocked(TextView from, const NodeInfo& source, TextView to,
                                      bool replace, TextView process) {
  const auto moved = OpenWithin(from);
  const auto replaced = OpenWithin(to);
  std::vector<std::unique_lock<std::mutex>> locks;
  for (const FileHandle& file : moved) locks.emplace_back(file->mutex);
  for (const FileHandle& file : replaced) locks.emplace_back(file->mutex);
  for (const FileHandle& file : moved) {
    if (const DriveError error = Send(*file, process); error != DriveError::kNone) return error;
  }
  const bool sends_content = IsTemporarySave(from, to);
  if (sends_content && !source.is_folder && moved.empty()) {
    // The worker is going to send whatever content it holds: it must be the file's own.
    OpenFile file;
    file.path = from;
    file.size = source.size;
    DriveError error = BringUpToDate(file).error;
    if (error == DriveError::kNone) error = BringContentIn(file);
    if (error == DriveError::kNone && file.begins_anew) error = BeginAnew(file);
    if (error != DriveError::kNone) return error;
  }
  const DriveError error = requests_.Rename(from, to, replace, options_.drive_letter, process);
  if (error != DriveError::kNone) return error;
  for (const FileHandle& file : replaced) file->is_gone = true;
  TakeOverRename(from, source, to, moved);
  if (sends_content) Invalidate(to);
  return DriveError::kNone;
}

void VirtualDrive::TakeOverRename(TextView from, const NodeInfo& source, TextView to,
                                  std::span<const FileHandle> moved) {
  const std::lock_guard lock(mutex_);
  walks_.Drop(from);
  walks_.Forget(from);
  walks_.Forget(to);
  walks_.Put(to, source);
  names_.Release(from);
  names_.Release(to);
  std::erase_if(seen_versions_, [&](const auto& seen) {
    return IsWithin(seen.first, from) || IsWithin(seen.first, to);
  });
  std::erase_if(open_files_, [&](const auto& open) { return IsWithin(open.first, to); });
  for (const FileHandle& file : moved) {
    open_files_.erase(file->path);
    file->path = Text(to).append(TextView(file->path).substr(from.size()));
    open_files_[file->path] = file;
    names_.Claim(file->path, false);
  }
}

}  // namespace zv
