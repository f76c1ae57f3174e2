// Names: making folders, removing, renaming.
#include <algorithm>

#include "apps/zvdrive/drive/drive_path.h"
#include "apps/zvdrive/drive/virtual_drive.h"
#include "config/file_names.h"
#include "config/guard.h"

namespace zv {

// For as long as it lives, nobody else opens or makes a file with one of the names or beneath.
struct VirtualDrive::NameChange {
  NameChange(VirtualDrive& whose, std::vector<Text> names)
      : drive(whose), turn(drive.AwaitTurn(names)) {
    if (!turn) return;
    const std::lock_guard lock(drive.mutex_);
    drive.changing_names_ = std::move(names);
    ++drive.name_changes_;
  }
  ~NameChange() {
    if (!turn) return;
    {
      const std::lock_guard lock(drive.mutex_);
      drive.changing_names_.clear();
    }
    drive.names_changed_.notify_all();
  }
  NameChange(const NameChange&) = delete;
  NameChange& operator=(const NameChange&) = delete;

  // False: the asking program is interrupted.
  explicit operator bool() const { return turn.owns_lock(); }

  VirtualDrive& drive;
  const PatientLock turn;
};

// What the drive notes of a rename, made before the worker is asked: once that has renamed it, the
// note must not fail, or what is open would go on under the old name.
struct VirtualDrive::NewNames {
  NameGuard::Names guarded;
  // Of the moved files, one by one; each twice, for the file and for the map of open ones.
  std::vector<Text> paths, keys;
};

bool VirtualDrive::AwaitUsers(TextView path, const WhileWaiting& while_waiting) const {
  return std::ranges::all_of(OpenWithin(path), [&](const FileHandle& file) {
    return LockWhile(file->mutex, while_waiting).owns_lock();
  });
}

bool VirtualDrive::IsInUse(TextView path) const {
  return std::ranges::any_of(OpenWithin(path), [](const FileHandle& file) {
    return !std::unique_lock(file->mutex, std::try_to_lock);
  });
}

// Users are waited for before the turn and not during it, in which other changes would wait with
// us. Who is used all the time has its turn all the same.
PatientLock VirtualDrive::AwaitTurn(std::span<const Text> names) {
  constexpr int kAttempts = 10;
  const WhileWaiting while_waiting = UnlessDisturbed();
  const auto in_use = [this](const Text& name) { return IsInUse(name); };
  const auto is_free = [&](const Text& name) { return AwaitUsers(name, while_waiting); };
  for (int attempt = 1;; ++attempt) {
    if (!std::ranges::all_of(names, is_free)) return {};
    PatientLock turn = LockWhile(rename_mutex_, while_waiting);
    if (!turn || attempt == kAttempts || std::ranges::none_of(names, in_use)) return turn;
  }
}

DriveError VirtualDrive::MakeFolder(TextView path) {
  const NameChange change(*this, {Text(path)});
  if (!change) return DriveError::kInterrupted;
  if (const DriveError error = CheckAbsent(path); error != DriveError::kNone) return error;
  if (!Claim(path, true)) return DriveError::kNotUnique;
  // Without memory to ask it is not made.
  const DriveError error = GuardedQuietly(DriveError::kIo, [&] { return AskMakeFolder(path); });
  const Seconds1601 now = ToSeconds(SystemTime());
  const std::lock_guard lock(mutex_);
  if (error == DriveError::kNone) {
    walks_.Put(path, {.is_folder = true, .size = 0, .created = now, .modified = now});
  } else {
    names_.Release(path);
  }
  return error;
}

DriveError VirtualDrive::AskMakeFolder(TextView path) {
  const DriveError error = requests_.MakeFolder(path, UnlessDisturbed());
  // A sync account's worker says so whatever came of it.
  return error == DriveError::kNone && sync_.is_sync() ? CheckListed(path) : error;
}

DriveError VirtualDrive::CheckListed(TextView path) {
  const Text parent = ParentOf(path);
  if (WalkFolder(parent, true) != DriveError::kNone) return DriveError::kIo;
  const std::lock_guard lock(mutex_);
  const Nodes* nodes = walks_.Latest(parent);
  return nodes && nodes->contains(LeafOf(path)) ? DriveError::kNone : DriveError::kIo;
}

DriveError VirtualDrive::CheckEmpty(TextView folder) {
  // The worker's delete takes the whole subtree: what is in there must be known for certain.
  if (const DriveError error = WalkFolder(folder, true); error != DriveError::kNone) return error;
  const auto nodes = List(folder);
  if (!nodes) return nodes.error;
  return nodes.value.empty() ? DriveError::kNone : DriveError::kNotEmpty;
}

DriveError VirtualDrive::CheckBystanders(TextView folder) {
  std::vector<Text> files;
  {
    const std::lock_guard lock(mutex_);
    files = names_.Bystanders(folder);
    const auto is_open = [this](const Text& path) { return open_files_.contains(path); };
    if (std::ranges::any_of(files, is_open)) return DriveError::kNotUnique;
  }
  const auto is_unsent = [this](const Text& path) { return host_.IsUnsent(path); };
  return std::ranges::any_of(files, is_unsent) ? DriveError::kNotUnique : DriveError::kNone;
}

DriveError VirtualDrive::RemoveFile(TextView path, TextView process) {
  const NameChange change(*this, {Text(path)});
  if (!change) return DriveError::kInterrupted;
  const auto info = Look(path);
  if (!info) return info.error;
  if (info.value.is_folder) return DriveError::kIsFolder;
  return Remove(path, false, process);
}

DriveError VirtualDrive::RemoveFolder(TextView path, TextView process) {
  if (path == kDriveRoot) return DriveError::kNotPermitted;
  const NameChange change(*this, {Text(path)});
  if (!change) return DriveError::kInterrupted;
  const auto info = Look(path);
  if (!info) return info.error;
  if (!info.value.is_folder) return DriveError::kNotFolder;
  if (const DriveError error = CheckEmpty(path); error != DriveError::kNone) return error;
  if (const DriveError error = CheckBystanders(path); error != DriveError::kNone) return error;
  return Remove(path, true, process);
}

DriveError VirtualDrive::Remove(TextView path, bool is_folder, TextView process) {
  const auto open = OpenWithin(path);
  std::vector<PatientLock> locks;
  for (const FileHandle& file : open) {
    locks.emplace_back(file->mutex);
    file->has_lost_block |= SettleStoring(*file) != DriveError::kNone;
  }
  const bool is_only_here = !open.empty() && open.front()->is_new && !open.front()->has_unsent;
  if (!is_only_here) {
    const DriveError error =
        requests_.Delete(sync_.DeletedPath(path, is_folder), sync_.TellingProcess(process));
    if (error != DriveError::kNone) return error;
  }
  for (const FileHandle& file : open) file->is_gone = true;
  ForgetRemoved(path);
  return DriveError::kNone;
}

void VirtualDrive::ForgetRemoved(TextView path) noexcept {
  const std::lock_guard lock(mutex_);
  walks_.Drop(path);
  walks_.Forget(path);
  names_.Release(path);
  EraseFrom(seen_versions_, path);
  sent_times_.Forget(path);
  std::erase_if(open_files_, [&](const auto& open) { return IsWithin(open.first, path); });
}

DriveResult<bool> VirtualDrive::CheckTarget(const NodeInfo& source, TextView to, bool replace) {
  const DriveError absent = CheckAbsent(to);
  if (absent == DriveError::kNone) return false;
  if (absent != DriveError::kExists || !replace) return absent;
  const auto target = Look(to);
  if (!target) return target.error;
  if (source.is_folder != target.value.is_folder) {
    return source.is_folder ? DriveError::kNotFolder : DriveError::kIsFolder;
  }
  if (target.value.is_folder) {
    if (const DriveError error = CheckEmpty(to); error != DriveError::kNone) return error;
  }
  return true;
}

DriveError VirtualDrive::Rename(TextView from, TextView to, bool replace, TextView process) {
  if (from == kDriveRoot || to == kDriveRoot) return DriveError::kNotPermitted;
  const NameChange change(*this, {Text(from), Text(to)});
  if (!change) return DriveError::kInterrupted;
  const auto source = Look(from);
  if (!source) return source.error;
  if (from == to) return DriveError::kNone;
  if (IsWithin(to, from)) return DriveError::kIntoItself;
  const auto target_exists = CheckTarget(source.value, to, replace);
  if (!target_exists) return target_exists.error;
  {
    const std::lock_guard lock(mutex_);
    if (!names_.CanMove(from, to, source.value.is_folder)) return DriveError::kNotUnique;
  }
  if (source.value.is_folder) {
    for (const TextView folder : {from, to}) {
      if (const DriveError error = CheckBystanders(folder); error != DriveError::kNone)
        return error;
    }
  }
  const OnTarget target = !replace              ? OnTarget::kFail
                          : target_exists.value ? OnTarget::kReplace
                                                : OnTarget::kExpectNone;
  return RenameLocked(from, source.value, to, target, process);
}

DriveError VirtualDrive::RenameLocked(TextView from, const NodeInfo& source, TextView to,
                                      OnTarget target, TextView process) {
  const auto moved = OpenWithin(from);
  const auto replaced = OpenWithin(to);
  std::vector<PatientLock> locks;
  for (const FileHandle& file : moved) locks.emplace_back(file->mutex);
  for (const FileHandle& file : replaced) {
    locks.emplace_back(file->mutex);
    file->has_lost_block |= SettleStoring(*file) != DriveError::kNone;
  }
  DriveError error = SendBeforeRename(moved, process);
  if (error != DriveError::kNone) return error;
  const bool sends_content = IsTempFileRename(from, to);
  if (sends_content && !source.is_folder) {
    error = BringSaveIn(from, source, moved.empty() ? FileHandle() : moved.front());
    if (error != DriveError::kNone) return error;
  }
  NewNames names = MakeNewNames(from, to, moved);
  error = AskRename(from, source, to, target, process);
  if (error != DriveError::kNone) return error;
  for (const FileHandle& file : replaced) file->is_gone = true;
  TakeOverRename(from, source, to, moved, std::move(names));
  if (sends_content) Invalidate(to);
  return DriveError::kNone;
}

// What a file's users wrote is sent before its name goes to another: a file that cannot be sent
// just now is kept under its new name.
DriveError VirtualDrive::SendBeforeRename(std::span<const FileHandle> moved, TextView process) {
  for (const FileHandle& file : moved) {
    const DriveError error = Send(*file, process);
    if (error != DriveError::kNone && error != DriveError::kNotStored) return error;
  }
  return DriveError::kNone;
}

// The worker is going to send whatever content it holds: it must be the file's own.
DriveError VirtualDrive::BringSaveIn(TextView from, const NodeInfo& source,
                                     const FileHandle& open) {
  OpenFile closed;
  closed.path = from;
  closed.size = source.size;
  OpenFile& file = open ? *open : closed;
  DriveError error = BringUpToDate(file).error;
  if (error == DriveError::kNone) error = BringContentIn(file);
  if (error == DriveError::kNone && file.begins_anew) error = BeginAnew(file);
  return error;
}

DriveError VirtualDrive::AskRename(TextView from, const NodeInfo& source, TextView to,
                                   OnTarget target, TextView process) {
  if (sync_.is_sync()) return AskSyncRename(from, source, to, target, process);
  const auto ask = [&](bool replace) {
    return requests_.Rename(from, to, replace, options_.drive_letter, process);
  };
  const DriveError error = ask(target == OnTarget::kReplace);
  if (error != DriveError::kExists || target != OnTarget::kExpectNone) return error;
  // Somebody else made it meanwhile: it must be looked at before it is replaced.
  Invalidate(to);
  const auto exists = CheckTarget(source, to, true);
  return exists ? ask(exists.value) : exists.error;
}

// The server's rename never replaces anything, so what is to be replaced goes first. A file whose
// content the server does not have is renamed here alone and then, if files of its new name are,
// sent over what is there; what the server still lists under the old name is deleted.
DriveError VirtualDrive::AskSyncRename(TextView from, const NodeInfo& source, TextView to,
                                       OnTarget target, TextView process) {
  const Text telling = sync_.TellingProcess(process);
  const bool is_unsent = !source.is_folder && host_.IsUnsent(from);
  if (target == OnTarget::kReplace && !is_unsent) {
    const auto replaced = OpenWithin(to);
    const DriveError error = requests_.Delete(sync_.DeletedPath(to, source.is_folder), telling);
    if (error != DriveError::kNone) return error;
    // It is gone, whatever becomes of the rename.
    for (const FileHandle& file : replaced) file->is_gone = true;
    ForgetRemoved(to);
  }
  const Text asking = is_unsent ? sync_.QuietProcess(process) : telling;
  // Without memory to ask it is one that failed.
  DriveError error = GuardedQuietly(DriveError::kIo, [&] {
    return requests_.Rename(from, to, false, options_.drive_letter, asking);
  });
  // The worker says so whatever came of it. Content that could not be moved is the only copy.
  if (is_unsent && host_.IsUnsent(from)) error = DriveError::kIo;
  if (error != DriveError::kNone) {
    // The cache may have changed all the same.
    Invalidate(from);
    Invalidate(to);
    return error;
  }
  // It is renamed, whatever becomes of the rest.
  if (is_unsent) GuardedQuietly([&] { SettleUnsentRename(from, to, process); });
  return DriveError::kNone;
}

void VirtualDrive::SettleUnsentRename(TextView from, TextView to, TextView process) {
  if (sync_.SendsFile(to) && !IsTempFileRename(from, to)) requests_.Complete(to, process, {});
  if (!EqualsNoCase(from, to) && CheckListed(from) == DriveError::kNone) {
    requests_.Delete(from, sync_.TellingProcess(process));
  }
}

VirtualDrive::NewNames VirtualDrive::MakeNewNames(TextView from, TextView to,
                                                  std::span<const FileHandle> moved) const {
  NewNames names;
  for (const FileHandle& file : moved) {
    names.paths.push_back(Text(to).append(TextView(file->path).substr(from.size())));
  }
  names.keys = names.paths;
  const std::lock_guard lock(mutex_);
  names.guarded = names_.NamesUnder(from, to);
  return names;
}

void VirtualDrive::TakeOverRename(TextView from, NodeInfo source, TextView to,
                                  std::span<const FileHandle> moved, NewNames names) noexcept {
  const std::lock_guard lock(mutex_);
  names_.Move(from, to, std::move(names.guarded));
  std::erase_if(seen_versions_, [&](const auto& seen) {
    return IsWithin(seen.first, from) || IsWithin(seen.first, to);
  });
  std::erase_if(open_files_, [&](const auto& open) { return IsWithin(open.first, to); });
  for (size_t index = 0; index < moved.size(); ++index) {
    OpenFile& file = *moved[index];
    if (file.path == from) {
      source.size = file.size;
      source.modified = {file.modified};
    }
    auto open = open_files_.extract(file.path);
    file.path = std::move(names.paths[index]);
    // Its last user may have left while the change held it.
    if (open.empty()) continue;
    open.key() = std::move(names.keys[index]);
    open_files_.insert(std::move(open));
  }
  sent_times_.Move(from, to);
  walks_.Drop(from);
  walks_.Forget(from);
  walks_.Forget(to);
  walks_.Put(to, source);
}

}  // namespace zv
