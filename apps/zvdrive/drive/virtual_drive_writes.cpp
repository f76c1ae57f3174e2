// Writing and cutting files: blocks on their way to the worker.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>

#include "apps/zvdrive/drive/virtual_drive.h"

namespace zv {

// Bytes set aside while their file is made anew.
class VirtualDrive::Spool {
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

struct VirtualDrive::BeforeCut {
  int64_t size = 0;
  bool was_unsent = false;
};

DriveError VirtualDrive::Write(OpenFile& file, int64_t offset, const Written& written) {
  const PatientUse use(*this, file);
  return use ? WriteLocked(file, offset, written) : DriveError::kInterrupted;
}

DriveError VirtualDrive::Append(OpenFile& file, const Written& written) {
  const PatientUse use(*this, file);
  return use ? WriteLocked(file, file.size, written) : DriveError::kInterrupted;
}

DriveError VirtualDrive::WriteLocked(OpenFile& file, int64_t offset, const Written& written) {
  const std::span<const std::byte> data = written.bytes;
  if (file.is_gone) return DriveError::kNotFound;
  const auto room = static_cast<uint64_t>(kLargestFile);
  if (offset < 0 || data.size() > room || static_cast<uint64_t>(offset) > room - data.size()) {
    return DriveError::kTooBig;
  }
  if (data.empty()) return DriveError::kNone;
  if (const DriveError error = BringContentIn(file); error != DriveError::kNone) return error;
  const GatheredWrites& gathered = file.gathered;
  const bool gathers =
      data.size() >= kLeastGathered && data.size() <= kLargestBlock && file.views == 0;
  const bool follows = gathered.empty() || (offset == gathered.end() &&
                                            gathered.bytes().size() + data.size() <= kLargestBlock);
  if (!gathers || !follows) {
    if (const DriveError error = StoreGathered(file); error != DriveError::kNone) return error;
  }
  const DriveError error =
      gathers ? Gather(file, offset, written) : StoreBlocks(file, offset, data);
  if (error != DriveError::kNone) return error;
  file.modified = ToSeconds(SystemTime()).value;
  Remember(file);
  return DriveError::kNone;
}

DriveError VirtualDrive::Gather(OpenFile& file, int64_t offset, const Written& written) {
  GatheredWrites& gathered = file.gathered;
  const bool is_whole = written.block && written.bytes.size() == kLargestBlock;
  const bool fills_it = gathered.bytes().size() + written.bytes.size() == kLargestBlock;
  // What may have to be waited for comes first: afterwards the bytes are taken.
  DriveError error = DriveError::kNone;
  if (file.begins_anew && offset != 0 && gathered.empty()) error = BeginAnew(file);
  if (error == DriveError::kNone && fills_it) error = SettleStoring(file);
  if (error != DriveError::kNone) return error;
  if (!gathered.block && !is_whole) gathered.block = std::make_shared<WriteBlock>();
  if (gathered.empty()) {
    gathered.offset = offset;
    gathered.size_before = file.size;
    MarkUnsent(file);
  }
  if (is_whole) {
    std::swap(gathered.block, *written.block);
  } else {
    gathered.block->Append(written.bytes);
  }
  file.size = std::max(file.size.load(), gathered.end());
  return fills_it ? BeginStoring(file) : DriveError::kNone;
}

DriveError VirtualDrive::BeginStoring(OpenFile& file) {
  if (const DriveError error = SettleStoring(file); error != DriveError::kNone) return error;
  std::swap(file.stored, file.gathered);
  file.gathered.Clear();
  file.stored.begins_anew = std::exchange(file.begins_anew, false);
  const GatheredWrites& block = file.stored;
  try {
    file.storing = requests_.BeginWrite(file.path, block.offset, {block.bytes(), block.block},
                                        block.begins_anew);
  } catch (...) {
    // Nobody was asked: what was written before stays where it was.
    file.begins_anew = std::exchange(file.stored.begins_anew, false);
    std::swap(file.stored, file.gathered);
    throw;
  }
  return DriveError::kNone;
}

// What could not be stored counts no longer, nor does what was to follow it.
DriveError VirtualDrive::SettleStoring(OpenFile& file) {
  if (!file.storing) return DriveError::kNone;
  DriveError error = DriveError::kIo;
  try {
    error = file.storing->Wait(file.while_waiting);
  } catch (const std::exception&) {
  }
  if (error == DriveError::kInterrupted) return error;
  file.storing = nullptr;
  error = Explained(error, file.stored.bytes().size());
  if (error != DriveError::kNone) GiveUpStored(file);
  return error;
}

DriveError VirtualDrive::StoreGathered(OpenFile& file) {
  const DriveError error = file.gathered.empty() ? DriveError::kNone : BeginStoring(file);
  return error == DriveError::kNone ? SettleStoring(file) : error;
}

void VirtualDrive::GiveUpStored(OpenFile& file) {
  file.begins_anew = file.begins_anew || file.stored.begins_anew;
  file.size = file.stored.size_before;
  file.gathered.Clear();
  file.stored.block.reset();  // the worker may still be at it
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

DriveError VirtualDrive::StoreBlock(OpenFile& file, int64_t offset,
                                    std::span<const std::byte> data) {
  MarkUnsent(file);
  const DriveError error = Explained(
      requests_.Write(file.path, offset, data, file.begins_anew, file.while_waiting), data.size());
  if (error == DriveError::kNone) file.begins_anew = false;
  return error;
}

void VirtualDrive::MarkUnsent(OpenFile& file) {
  if (!file.has_unsent) file.is_noted = host_.MarkUnsent(file.path);
  file.has_unsent = true;
  file.unchanged_at.reset();  // there is a better reason now
}

void VirtualDrive::MarkSent(OpenFile& file) {
  file.unchanged_at.reset();
  file.has_unsent = false;
  host_.MarkSent(file.path);
}

// Marked before anything can be changed: nobody sees a change through memory before it was made.
DriveError VirtualDrive::BeginMapping(OpenFile& file) {
  const std::lock_guard lock(file.mutex);
  if (file.is_gone) return DriveError::kNone;
  if (const DriveError error = BringContentIn(file); error != DriveError::kNone) return error;
  if (!file.has_unsent && !file.begins_anew) {
    const FileTime written = host_.ContentWritten(file.path);
    MarkUnsent(file);
    file.unchanged_at = written;
  }
  ++file.mappings;
  return DriveError::kNone;
}

void VirtualDrive::EndMapping(OpenFile& file) {
  const std::lock_guard lock(file.mutex);
  if (file.mappings == 0 || --file.mappings > 0 || !IsOnlyMapped(file)) return;
  MarkSent(file);
}

bool VirtualDrive::IsOnlyMapped(const OpenFile& file) {
  return file.unchanged_at && host_.ContentWritten(file.path) == *file.unchanged_at;
}

DriveError VirtualDrive::BeginAnew(OpenFile& file) { return StoreBlock(file, 0, {}); }

DriveError VirtualDrive::Resize(OpenFile& file, int64_t size) {
  const PatientUse use(*this, file);
  return use ? ResizeLocked(file, size) : DriveError::kInterrupted;
}

void VirtualDrive::EmptyIt(OpenFile& file) {
  SettleStoring(file);
  file.gathered.Clear();
  file.has_lost_block = false;
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
  return WriteLocked(file, size - 1, std::span(&kZero, 1));
}

// No request shrinks a file: what stays is read, and sent again as a new content.
DriveError VirtualDrive::Shrink(OpenFile& file, int64_t size) {
  if (const DriveError error = BringContentIn(file); error != DriveError::kNone) return error;
  Spool spool;
  if (const DriveError error = SetAside(file, size, spool); error != DriveError::kNone)
    return error;
  file.while_waiting = {};  // half of it would be a loss
  const BeforeCut before{.size = file.size, .was_unsent = file.has_unsent};
  file.begins_anew = true;
  file.size = 0;
  try {
    const DriveError error = StoreFrom(spool, file, size);
    if (error != DriveError::kNone && !before.was_unsent) GiveUpCut(file, before);
    return error;
  } catch (...) {
    // Until a block was handed over the content is what it was.
    if (!before.was_unsent || file.begins_anew) GiveUpCut(file, before);
    throw;
  }
}

DriveError VirtualDrive::SetAside(const OpenFile& file, int64_t size, Spool& spool) {
  std::vector<std::byte> block(kLargestBlock);
  for (int64_t offset = 0; offset < size;) {
    const auto count = static_cast<size_t>(std::min<int64_t>(size - offset, kLargestBlock));
    const auto part = std::span(block).first(count);
    const auto got = requests_.Read(file.path, offset, part, file.while_waiting);
    if (!got) return got.error;
    if (got.value != count || !spool.Add(part)) return DriveError::kIo;
    offset += static_cast<int64_t>(count);
  }
  return spool.Rewind() ? DriveError::kNone : DriveError::kIo;
}

DriveError VirtualDrive::StoreFrom(Spool& spool, OpenFile& file, int64_t size) {
  std::vector<std::byte> block(kLargestBlock);
  while (file.size < size) {
    const size_t count = spool.Take(block);
    if (count == 0) return DriveError::kIo;
    const DriveError error =
        WriteLocked(file, file.size, std::as_bytes(std::span(block).first(count)));
    if (error != DriveError::kNone) return error;
  }
  return StoreGathered(file);
}

// What the cache holds of the file must not pass for its content, which the server has.
void VirtualDrive::GiveUpCut(OpenFile& file, const BeforeCut& before) {
  SettleStoring(file);
  file.gathered.Clear();
  if (!before.was_unsent) {
    host_.DropContent(file.path);
    MarkSent(file);
    file.content_is_ours = file.is_fetched = false;
  }
  file.begins_anew = false;
  file.size = before.size;
  Remember(file);
}

DriveError VirtualDrive::ResizePath(TextView path, int64_t size, TextView process) {
  const auto opened = Open(path, size == 0);
  if (!opened) return opened.error;
  Hold hold(*this, opened.value.file);
  const DriveError resized = Resize(*opened.value.file, size);
  const DriveError closed = Close(hold.Keep(), process);
  return resized != DriveError::kNone ? resized : closed;
}

}  // namespace zv
