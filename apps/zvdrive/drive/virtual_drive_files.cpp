// Files: opening, reading, writing, sending.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>

#include "apps/zvdrive/drive/drive_path.h"
#include "apps/zvdrive/drive/virtual_drive.h"

namespace zv {
namespace {

// A read of this many bytes or more makes the worker bring the whole file into its cache.
constexpr int64_t kWholeFileRead = 51200;

// Writes of this many bytes or more come from a copy: those that follow each other are handed on
// together. Smaller ones are stored one by one, so that they outlive this process.
constexpr size_t kGatheredWrite = 65536;

// Bytes set aside while their file is made anew.
class Spool {
 public:
  Spool() : file_(std::tmpfile(), &std::fclose) {}
  bool Add(std::span<const std::byte> bytes) {
    return file_ && std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size();
  }
  bool Rewind() { return file_ && std::fseek(file_.get(), 0, SEEK_SET) == 0; }
  size_t Take(std::span<std::byte> into) {
    return std::fread(into.data(), 1, into.size(), file_.get());
  }

 private:
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
};

}  // namespace

DriveResult<OpenedFile> VirtualDrive::Open(TextView path, bool empty_it) {
  const auto acquired = LookAndAcquire(path);
  if (!acquired) return acquired.error;
  const FileHandle& file = acquired.value;
  DriveResult<bool> unchanged = false;
  {
    const std::lock_guard lock(file->mutex);
    if (file->is_gone) {
      unchanged = DriveError::kNotFound;
    } else if (empty_it) {
      EmptyIt(*file);
    } else {
      unchanged = BringUpToDate(*file);
      if (unchanged && file->size > kLargestFile) unchanged = DriveError::kTooBig;
    }
  }
  if (!unchanged) {
    Release(file);
    return unchanged.error;
  }
  return OpenedFile{file, unchanged.value};
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
      const std::lock_guard lock(file->mutex);
      if (!file->is_gone) Remember(*file);
      return OpenedFile{file, false};
    }
  }
}

// True when the content is the one that was read here before. A file with unsent content is never
// checked: the check may delete the only copy.
DriveResult<bool> VirtualDrive::BringUpToDate(OpenFile& file) {
  if (file.begins_anew || file.has_unsent || host_.IsUnsent(file.path)) {
    file.content_is_ours = true;
    return false;
  }
  file.content_is_ours = false;
  file.reads_fail_until = {};
  {
    const auto turn = requests_.TakeTurn();
    host_.CheckLastModified(file.path);
  }
  const auto info = QueryInfo(file.path);
  if (!info) {
    if (const DriveError error = WalkFolder(ParentOf(file.path), true);
        error != DriveError::kNone) {
      return error;
    }
    return DriveError::kNotFound;
  }
  file.size = info->size;
  file.modified = info->modified.value;
  Remember(file);
  const uint64_t version = host_.ContentVersion(file.path);
  const std::lock_guard lock(mutex_);
  const auto seen = seen_versions_.find(file.path);
  return version != 0 && seen != seen_versions_.end() && seen->second == version;
}

DriveResult<size_t> VirtualDrive::Read(OpenFile& file, int64_t offset, std::span<std::byte> into) {
  const std::lock_guard lock(file.mutex);
  if (file.is_gone) return DriveError::kNotFound;
  if (const DriveError error = StoreGathered(file); error != DriveError::kNone) return error;
  const int64_t size = file.size;
  if (offset < 0 || offset >= size || into.empty()) return size_t{0};
  // Content of our own lies in the cache: no read of it starts a download.
  if (!file.content_is_ours && std::chrono::steady_clock::now() < file.reads_fail_until) {
    return DriveError::kIo;
  }
  const auto count = ReadLocked(file, offset, into);
  if (!count) file.reads_fail_until = std::chrono::steady_clock::now() + options_.failed_read_pause;
  return count;
}

DriveResult<size_t> VirtualDrive::ReadLocked(const OpenFile& file, int64_t offset,
                                             std::span<std::byte> into) {
  const int64_t size = file.size;
  const size_t wanted = std::min({into.size(), static_cast<size_t>(size - offset), kLargestBlock});
  if (offset == 0 && size < kWholeFileRead) {
    // A small file is read whole anyway: asked for like this it stays in the cache.
    std::vector<std::byte> whole(kWholeFileRead);
    const auto count = requests_.Read(file.path, 0, whole);
    if (!count) return count.error;
    if (count.value != static_cast<size_t>(size)) return DriveError::kIo;
    std::copy_n(whole.begin(), wanted, into.begin());
    return wanted;
  }
  const auto count = requests_.Read(file.path, offset, into.first(wanted));
  if (!count) return count.error;
  // Fewer bytes than the file has: it changed meanwhile, and what came may be of either version.
  if (count.value != wanted) return DriveError::kIo;
  return wanted;
}

DriveError VirtualDrive::Write(OpenFile& file, int64_t offset, std::span<const std::byte> data) {
  const std::lock_guard lock(file.mutex);
  return WriteLocked(file, offset, data);
}

DriveError VirtualDrive::WriteLocked(OpenFile& file, int64_t offset,
                                     std::span<const std::byte> data) {
  if (file.is_gone) return DriveError::kNotFound;
  const auto room = static_cast<uint64_t>(kLargestFile);
  if (offset < 0 || data.size() > room || static_cast<uint64_t>(offset) > room - data.size()) {
    return DriveError::kTooBig;
  }
  if (data.empty()) return DriveError::kNone;
  if (const DriveError error = BringContentIn(file); error != DriveError::kNone) return error;
  const GatheredWrites& gathered = file.gathered;
  const bool gathers = data.size() >= kGatheredWrite && data.size() <= kLargestBlock;
  const bool follows =
      gathered.bytes.empty() ||
      (offset == gathered.end() && gathered.bytes.size() + data.size() <= kLargestBlock);
  if (!gathers || !follows) {
    if (const DriveError error = StoreGathered(file); error != DriveError::kNone) return error;
  }
  const DriveError error = gathers ? Gather(file, offset, data) : StoreBlocks(file, offset, data);
  if (error != DriveError::kNone) return error;
  file.modified = ToSeconds(SystemTime()).value;
  Remember(file);
  return DriveError::kNone;
}

DriveError VirtualDrive::Gather(OpenFile& file, int64_t offset, std::span<const std::byte> data) {
  GatheredWrites& gathered = file.gathered;
  if (gathered.bytes.empty()) {
    gathered.bytes.reserve(kLargestBlock);
    gathered.offset = offset;
    gathered.size_before = file.size;
    MarkUnsent(file);
  }
  gathered.bytes.insert(gathered.bytes.end(), data.begin(), data.end());
  file.size = std::max(file.size.load(), gathered.end());
  return gathered.bytes.size() == kLargestBlock ? BeginStoring(file) : DriveError::kNone;
}

DriveError VirtualDrive::BeginStoring(OpenFile& file) {
  if (file.begins_anew && file.gathered.offset != 0) return StoreGathered(file);
  if (const DriveError error = SettleStoring(file); error != DriveError::kNone) return error;
  std::swap(file.stored, file.gathered);
  file.gathered.bytes.clear();
  file.stored.begins_anew = std::exchange(file.begins_anew, false);
  const auto store = [this, path = file.path, &block = file.stored] {
    return requests_.Write(path, block.offset, block.bytes, block.begins_anew);
  };
  file.storing = std::async(std::launch::async, store);
  return DriveError::kNone;
}

// What could not be stored counts no longer, nor does what was to follow it.
DriveError VirtualDrive::SettleStoring(OpenFile& file) {
  if (!file.storing.valid()) return DriveError::kNone;
  DriveError error = DriveError::kIo;
  try {
    error = file.storing.get();
  } catch (const std::exception&) {
  }
  if (error != DriveError::kNone) GiveUpBlock(file, file.stored);
  return error;
}

DriveError VirtualDrive::StoreGathered(OpenFile& file) {
  if (const DriveError error = SettleStoring(file); error != DriveError::kNone) return error;
  GatheredWrites& gathered = file.gathered;
  if (gathered.bytes.empty()) return DriveError::kNone;
  const DriveError error = StoreBlocks(file, gathered.offset, gathered.bytes);
  if (error != DriveError::kNone) GiveUpBlock(file, gathered);
  gathered.bytes.clear();
  return error;
}

void VirtualDrive::GiveUpBlock(OpenFile& file, const GatheredWrites& block) {
  file.begins_anew = file.begins_anew || block.begins_anew;
  file.size = block.size_before;
  file.gathered.bytes.clear();
  Remember(file);
}

DriveError VirtualDrive::StoreBlocks(OpenFile& file, int64_t offset,
                                     std::span<const std::byte> data) {
  if (file.begins_anew && offset != 0) {
    if (const DriveError error = BeginAnew(file); error != DriveError::kNone) return error;
  }
  for (size_t done = 0; done < data.size();) {
    const auto block = data.subspan(done, std::min(kLargestBlock, data.size() - done));
    const DriveError error = StoreBlock(file, offset + static_cast<int64_t>(done), block);
    if (error != DriveError::kNone) return error;
    done += block.size();
    file.size = std::max(file.size.load(), offset + static_cast<int64_t>(done));
  }
  return DriveError::kNone;
}

// Blocks are laid over whatever the cache holds: it must hold the whole file first.
DriveError VirtualDrive::BringContentIn(OpenFile& file) {
  if (file.content_is_ours) return DriveError::kNone;
  const int64_t size = file.size;
  if (size == 0) {
    file.begins_anew = true;
  } else {
    std::vector<std::byte> first(kWholeFileRead);
    const auto count = requests_.Read(file.path, 0, first);
    if (!count) return count.error;
    if (static_cast<int64_t>(count.value) != std::min(size, kWholeFileRead)) return DriveError::kIo;
  }
  file.content_is_ours = true;
  return DriveError::kNone;
}

DriveError VirtualDrive::StoreBlock(OpenFile& file, int64_t offset,
                                    std::span<const std::byte> data) {
  MarkUnsent(file);
  const DriveError error = requests_.Write(file.path, offset, data, file.begins_anew);
  if (error == DriveError::kNone) file.begins_anew = false;
  return error;
}

void VirtualDrive::MarkUnsent(OpenFile& file) {
  if (!file.has_unsent) host_.MarkUnsent(file.path);
  file.has_unsent = true;
}

DriveError VirtualDrive::BeginAnew(OpenFile& file) { return StoreBlock(file, 0, {}); }

DriveError VirtualDrive::Resize(OpenFile& file, int64_t size) {
  const std::lock_guard lock(file.mutex);
  return ResizeLocked(file, size);
}

void VirtualDrive::EmptyIt(OpenFile& file) {
  SettleStoring(file);
  file.gathered.bytes.clear();
  file.begins_anew = true;
  file.content_is_ours = true;
  file.size = 0;
  file.modified = ToSeconds(SystemTime()).value;
  Remember(file);
}

DriveError VirtualDrive::ResizeLocked(OpenFile& file, int64_t size) {
  if (file.is_gone) return DriveError::kNotFound;
  if (size < 0 || size > kLargestFile) return DriveError::kTooBig;
  if (const DriveError error = StoreGathered(file); error != DriveError::kNone) return error;
  const int64_t old_size = file.size;
  // A write that failed in its midst may have left bytes that the size does not count.
  if (size == old_size && (size != 0 || !file.has_unsent)) return DriveError::kNone;
  if (size == 0) {
    EmptyIt(file);
    return DriveError::kNone;
  }
  if (size < old_size) return Shrink(file, size);
  constexpr std::byte kZero{0};
  return WriteLocked(file, size - 1, {&kZero, 1});
}

// No request shrinks a file: what stays is read, and sent again as a new content.
DriveError VirtualDrive::Shrink(OpenFile& file, int64_t size) {
  if (const DriveError error = BringContentIn(file); error != DriveError::kNone) return error;
  Spool spool;
  std::vector<std::byte> block(kLargestBlock);
  for (int64_t offset = 0; offset < size;) {
    const auto count = static_cast<size_t>(std::min<int64_t>(size - offset, kLargestBlock));
    const auto got = requests_.Read(file.path, offset, std::span(block).first(count));
    if (!got) return got.error;
    if (got.value != count || !spool.Add(std::span(block).first(count))) return DriveError::kIo;
    offset += static_cast<int64_t>(count);
  }
  if (!spool.Rewind()) return DriveError::kIo;
  file.begins_anew = true;
  file.size = 0;
  while (file.size < size) {
    const size_t count = spool.Take(block);
    if (count == 0) return DriveError::kIo;
    const DriveError error = WriteLocked(file, file.size, std::span(block).first(count));
    if (error != DriveError::kNone) return error;
  }
  return DriveError::kNone;
}

DriveError VirtualDrive::ResizePath(TextView path, int64_t size, TextView process) {
  const auto opened = Open(path, size == 0);
  if (!opened) return opened.error;
  const DriveError resized = Resize(*opened.value.file, size);
  const DriveError closed = Close(opened.value.file, process);
  return resized != DriveError::kNone ? resized : closed;
}

DriveError VirtualDrive::Flush(OpenFile& file, TextView process) {
  const std::lock_guard lock(file.mutex);
  return Send(file, process);
}

DriveError VirtualDrive::Send(OpenFile& file, TextView process) {
  if (file.is_gone) return DriveError::kNone;
  if (const DriveError error = StoreGathered(file); error != DriveError::kNone) return error;
  if (file.begins_anew && file.size == 0) return SendEmpty(file, process);
  return file.has_unsent ? SendWhole(file, process) : DriveError::kNone;
}

DriveError VirtualDrive::SendEmpty(OpenFile& file, TextView process) {
  const DriveError sent =
      requests_.WriteEmptyFile(file.path, sync_.EmptyFileProcess(file.path, process));
  // The step leaves old content in the cache.
  const DriveError stored = requests_.Write(file.path, 0, {}, true);
  if (stored != DriveError::kNone) return stored;
  file.begins_anew = false;
  if (sent != DriveError::kNone) {
    // As a file whose content is empty it is tried for longer, and kept when that fails, too.
    host_.MarkUnsent(file.path);
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
  const DriveError error = requests_.Complete(path, process, [&] {
    if (host_.IsInterrupted()) host_.CancelTransfer(path);
  });
  if (error != DriveError::kNone) return error;
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

DriveError VirtualDrive::Close(const FileHandle& file, TextView process) {
  DriveError result = DriveError::kNone;
  {
    const std::lock_guard lock(file->mutex);
    result = Send(*file, process);
    const uint64_t version = file->is_gone ? 0 : host_.ContentVersion(file->path);
    const std::lock_guard state(mutex_);
    if (version == 0) {
      seen_versions_.erase(file->path);
    } else {
      seen_versions_[file->path] = version;
    }
  }
  Release(file);
  return result;
}

DriveError VirtualDrive::SendAgain(TextView path, bool has_content, TextView process) {
  auto acquired = LookAndAcquire(path);
  // Not even its content is there any more, or its folder: the worker settles that, too.
  const bool is_listed = acquired.error != DriveError::kNotFound;
  if (!is_listed && host_.IsUnsent(path)) acquired = AcquireUnlisted(path);
  if (!acquired) return acquired.error;
  const FileHandle& file = acquired.value;
  DriveError result = DriveError::kNone;
  {
    const std::lock_guard lock(file->mutex);
    // Who writes it just now sends it at the close; and it may have been sent or deleted by now.
    const bool is_written = file->begins_anew || file->has_unsent;
    if (!is_written && !file->is_gone && host_.IsUnsent(file->path)) {
      result = has_content ? SendWhole(*file, process) : SendEmpty(*file, process);
    }
  }
  Release(file);
  if (!is_listed) Invalidate(path);
  return result;
}

}  // namespace zv
