// Files: opening, reading, sending.
#include <algorithm>
#include <utility>

#include "apps/zvdrive/drive/drive_path.h"
#include "apps/zvdrive/drive/virtual_drive.h"

namespace zv {
namespace {

// A read of this many bytes or more makes the worker bring the whole file into its cache.
constexpr int64_t kWholeFileRead = 51200;

}  // namespace

DriveResult<OpenedFile> VirtualDrive::Open(TextView path, bool empty_it) {
  const auto acquired = LookAndAcquire(path);
  if (!acquired) return acquired.error;
  const FileHandle& file = acquired.value;
  Hold hold(*this, file);
  DriveResult<bool> unchanged = false;
  {
    const PatientLock lock = LockUnlessInterrupted(*file);
    if (!lock) {
      unchanged = DriveError::kInterrupted;
    } else if (file->is_gone) {
      unchanged = DriveError::kNotFound;
    } else if (empty_it) {
      EmptyIt(*file);
    } else {
      unchanged = BringUpToDate(*file);
      if (unchanged && file->size > kLargestFile) unchanged = DriveError::kTooBig;
    }
  }
  if (!unchanged) return unchanged.error;
  return OpenedFile{hold.Keep(), unchanged.value};
}

PatientLock VirtualDrive::LockUnlessInterrupted(OpenFile& file) {
  return LockWhile(file.mutex, [this] { return !host_.IsInterrupted(); });
}

WhileWaiting VirtualDrive::UnlessDisturbed() const {
  return [this, since = std::chrono::steady_clock::now()] {
    return std::chrono::steady_clock::now() - since < options_.undisturbed ||
           !host_.IsInterrupted();
  };
}

VirtualDrive::PatientUse::PatientUse(const VirtualDrive& drive, OpenFile& file)
    : file_(file), lock_(LockWhile(file.mutex, drive.UnlessDisturbed())) {
  if (lock_) file.while_waiting = drive.UnlessDisturbed();
}

VirtualDrive::PatientUse::~PatientUse() {
  if (lock_) file_.while_waiting = {};
}

DriveResult<OpenedFile> VirtualDrive::Create(TextView path) {
  for (;;) {
    const uint64_t names = AwaitNames(path);
    if (const DriveError error = CheckAbsent(path); error != DriveError::kNone) return error;
    NodeInfo fresh;
    fresh.modified = ToSeconds(SystemTime());
    const auto acquired = Acquire(path, fresh, names, true);
    if (!acquired) return acquired.error;
    if (const FileHandle& file = acquired.value) {
      Hold hold(*this, file);
      const std::lock_guard lock(file->mutex);
      if (!file->is_gone) Remember(*file);
      return OpenedFile{hold.Keep(), false};
    }
  }
}

// True when the content is the one that was read here before. A file with unsent content is never
// checked: the check may delete the only copy.
DriveResult<bool> VirtualDrive::BringUpToDate(OpenFile& file) {
  const bool has_own = file.begins_anew || file.has_unsent;
  if (has_own || host_.IsUnsent(file.path)) {
    // While the list of what waits cannot be read, a file whose content is not here counts, too.
    file.content_is_ours = has_own || host_.ContentWritten(file.path) != FileTime{};
    return false;
  }
  file.content_is_ours = file.is_fetched = false;
  file.reads_fail_until = {};
  {
    const auto turn = requests_.TakeTurn();
    host_.CheckLastModified(file.path);
  }
  const auto queried = QueryInfo(file.path);
  const auto info = queried ? DriveResult<NodeInfo>(*queried) : LookInWalk(file.path, true);
  if (!info) return info.error;
  file.size = info.value.size;
  file.modified = info.value.modified.value;
  Remember(file);
  const uint64_t version = host_.ContentVersion(file.path);
  const std::lock_guard lock(mutex_);
  const auto seen = seen_versions_.find(file.path);
  return version != 0 && seen != seen_versions_.end() && seen->second == version;
}

std::optional<ContentView> VirtualDrive::ViewContent(const FileHandle& file) {
  const PatientLock lock = LockUnlessInterrupted(*file);
  if (!lock) return std::nullopt;
  const bool is_ours = file->begins_anew || file->has_unsent || file->content_is_ours;
  if (file->is_gone || is_ours || file->size == 0) return std::nullopt;
  if (host_.ContentVersion(file->path) == 0) {
    const DriveError error = Fetch(*file);
    // Who gave up waiting is not all who read.
    if (error == DriveError::kIo && !host_.IsInterrupted()) PauseReads(*file);
    if (error != DriveError::kNone) return std::nullopt;
  }
  Text content_file = host_.ContentFile(file->path);
  if (content_file.empty()) return std::nullopt;
  return ContentView(file, std::move(content_file));
}

void VirtualDrive::PauseReads(OpenFile& file) const {
  file.reads_fail_until = std::chrono::steady_clock::now() + options_.failed_read_pause;
}

DriveResult<size_t> VirtualDrive::Read(OpenFile& file, int64_t offset, std::span<std::byte> into) {
  const PatientUse use(*this, file);
  if (!use) return DriveError::kInterrupted;
  if (file.is_gone) return DriveError::kNotFound;
  if (const DriveError error = StoreGathered(file); error != DriveError::kNone) return error;
  const int64_t size = file.size;
  if (offset < 0 || offset >= size || into.empty()) return size_t{0};
  // Content of our own lies in the cache: no read of it starts a download.
  if (!file.content_is_ours && std::chrono::steady_clock::now() < file.reads_fail_until) {
    return DriveError::kIo;
  }
  const bool cached = file.content_is_ours || file.is_fetched || HasRoomToFetch(file);
  // The worker reads the beginning of a small file past the cache.
  const bool goes_past = offset == 0 && size < kWholeFileRead && !sync_.is_sync();
  if (!cached && !goes_past) return DriveError::kNoSpace;
  const auto count = ReadLocked(file, offset, into, cached);
  file.is_fetched = cached && count;
  if (count) return count;
  // Who gave up waiting is not all who read.
  if (!file.while_waiting()) return DriveError::kInterrupted;
  PauseReads(file);
  return count;
}

DriveResult<size_t> VirtualDrive::ReadLocked(const OpenFile& file, int64_t offset,
                                             std::span<std::byte> into, bool cached) {
  const int64_t size = file.size;
  const size_t wanted = std::min({into.size(), static_cast<size_t>(size - offset), kLargestBlock});
  if (cached && offset == 0 && size < kWholeFileRead) {
    // A small file is read whole anyway: asked for like this it stays in the cache.
    std::vector<std::byte> whole(kWholeFileRead);
    const auto count = requests_.Read(file.path, 0, whole, file.while_waiting);
    if (!count) return count.error;
    if (count.value != static_cast<size_t>(size)) return DriveError::kIo;
    std::copy_n(whole.begin(), wanted, into.begin());
    return wanted;
  }
  const auto count = requests_.Read(file.path, offset, into.first(wanted), file.while_waiting);
  if (!count) return count.error;
  // Fewer bytes than the file has: it changed meanwhile, and what came may be of either version.
  if (count.value != wanted) return DriveError::kIo;
  return wanted;
}

DriveError VirtualDrive::Explained(DriveError error, size_t bytes) {
  // The least that a disk takes.
  constexpr size_t kPage = 4096;
  const bool is_full =
      error == DriveError::kIo && !host_.HasRoom(static_cast<int64_t>(std::max(bytes, kPage)));
  return is_full ? DriveError::kNoSpace : error;
}

bool VirtualDrive::HasRoomToFetch(const OpenFile& file) {
  return host_.HasRoom(file.size) || host_.ContentWritten(file.path) != FileTime{};
}

DriveError VirtualDrive::Fetch(const OpenFile& file) {
  if (!HasRoomToFetch(file)) return DriveError::kNoSpace;
  std::vector<std::byte> first(kWholeFileRead);
  const auto count = requests_.Read(file.path, 0, first, [&] { return GoesOnWaiting(file.path); });
  if (!count) return count.error;
  const bool is_whole =
      static_cast<int64_t>(count.value) == std::min<int64_t>(file.size, kWholeFileRead);
  return is_whole ? DriveError::kNone : DriveError::kIo;
}

// Blocks are laid over whatever the cache holds: it must hold the whole file first.
DriveError VirtualDrive::BringContentIn(OpenFile& file) {
  if (file.content_is_ours) return DriveError::kNone;
  if (file.size == 0) {
    file.begins_anew = true;
  } else if (const DriveError error = Fetch(file); error != DriveError::kNone) {
    return error;
  }
  file.content_is_ours = true;
  return DriveError::kNone;
}

// A close cannot be asked again: who was interrupted hears of an I/O error.
DriveError VirtualDrive::Flush(OpenFile& file, TextView process) {
  const PatientUse use(*this, file);
  const DriveError error = use ? Send(file, process) : DriveError::kInterrupted;
  return error == DriveError::kInterrupted ? DriveError::kIo : error;
}

DriveError VirtualDrive::Send(OpenFile& file, TextView process) {
  if (file.is_gone) return DriveError::kNone;
  if (std::exchange(file.has_lost_block, false)) return DriveError::kIo;
  if (const DriveError error = StoreGathered(file); error != DriveError::kNone) return error;
  if (file.begins_anew && file.size == 0) return SendEmpty(file, process);
  if (!file.has_unsent || IsOnlyMapped(file)) return DriveError::kNone;
  file.unchanged_at.reset();
  const DriveError error = SendWhole(file, process);
  // A page of memory that was changed once is changed again without a trace.
  if (error == DriveError::kNone && file.mappings > 0) MarkUnsent(file);
  return error;
}

DriveError VirtualDrive::SendEmpty(OpenFile& file, TextView process) {
  const DriveError sent = requests_.WriteEmptyFile(
      file.path, sync_.EmptyFileProcess(file.path, process), file.while_waiting);
  // The step leaves old content in the cache.
  const DriveError stored =
      Explained(requests_.Write(file.path, 0, {}, true, file.while_waiting), 0);
  if (stored != DriveError::kNone) return stored;
  file.begins_anew = false;
  if (sent != DriveError::kNone) {
    // As a file whose content is empty it is tried for longer, and kept when that fails, too.
    file.is_noted = host_.MarkUnsent(file.path);
    return SendWhole(file, process);
  }
  file.has_unsent = false;
  file.is_new = false;
  Remember(file);
  // A sync account's worker answers before it knows.
  return host_.IsOverdue(file.path) ? DriveError::kNotStored : DriveError::kNone;
}

DriveError VirtualDrive::SendWhole(OpenFile& file, TextView process) {
  const Text path = file.path;
  const Seconds1601 first = ToSeconds(SystemTime());
  if (!file.is_noted) file.is_noted = host_.MarkUnsent(path);
  const DriveError error = requests_.Complete(path, process, [&] { return GoesOnWaiting(path); });
  if (error != DriveError::kNone) return error;
  // Of what is not on the list nobody can tell whether it was sent.
  if (!file.is_noted) return DriveError::kIo;
  if (const auto server_time = host_.ContentTime(path)) {
    const std::lock_guard lock(mutex_);
    sent_times_.Note(path, first, ToSeconds(SystemTime()), *server_time);
    file.modified = server_time->value;
  }
  file.has_unsent = false;
  file.is_new = false;
  Remember(file);
  return host_.IsOverdue(path) ? DriveError::kNotStored : DriveError::kNone;
}

bool VirtualDrive::GoesOnWaiting(TextView path) {
  if (!host_.IsInterrupted()) return true;
  host_.CancelTransfer(path);
  return false;
}

DriveError VirtualDrive::Close(const FileHandle& file, TextView process) {
  const Hold hold(*this, file);
  const std::lock_guard lock(file->mutex);
  const DriveError result = Send(*file, process);
  const uint64_t version = file->is_gone ? 0 : host_.ContentVersion(file->path);
  const std::lock_guard state(mutex_);
  if (version == 0) {
    seen_versions_.erase(file->path);
  } else {
    seen_versions_[file->path] = version;
  }
  return result;
}

DriveError VirtualDrive::SendAgain(TextView path, bool has_content, TextView process) {
  auto acquired = LookAndAcquire(path);
  // Not even its content is there any more, or its folder: the worker settles that, too.
  const bool is_listed = acquired.error != DriveError::kNotFound;
  if (!is_listed && host_.IsUnsent(path)) acquired = AcquireUnlisted(path);
  if (!acquired) return acquired.error;
  DriveError result = DriveError::kNone;
  {
    const Hold hold(*this, acquired.value);
    OpenFile& file = *acquired.value;
    const std::lock_guard lock(file.mutex);
    // Who writes it just now sends it at the close; and it may have been sent or deleted by now.
    const bool is_written = file.begins_anew || file.has_unsent;
    if (!is_written && !file.is_gone && host_.IsUnsent(file.path)) {
      result = has_content ? SendWhole(file, process) : SendEmpty(file, process);
    }
  }
  if (!is_listed) Invalidate(path);
  return result;
}

}  // namespace zv
