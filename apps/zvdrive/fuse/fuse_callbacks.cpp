#include "apps/zvdrive/fuse/fuse_callbacks.h"

#define FUSE_USE_VERSION 312
#include <fuse.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <iterator>
#include <mutex>
#include <span>
#include <string>
#include <utility>

#include "apps/zvdrive/drive/drive_path.h"
#include "apps/zvdrive/fuse/fuse_answer.h"
#include "apps/zvdrive/fuse/keep_open.h"
#include "apps/zvdrive/fuse/mounted.h"
#include "apps/zvdrive/fuse/received_write.h"
#include "config/guard.h"
#include "platform/console.h"

namespace zv {
namespace {

// What programs should read and write at once: each of their calls is a request of its own.
constexpr uint32_t kBlockSize = kLargestBlock;

OpenFile& FileOf(const fuse_file_info* info) { return *OpenHandles<OpenHandle>::Of(info->fh).file; }
bool Appends(const fuse_file_info* info) { return (info->flags & O_APPEND) != 0; }

void FillStat(const NodeInfo& info, struct stat* out) {
  std::memset(out, 0, sizeof *out);
  out->st_mode = info.is_folder ? S_IFDIR | 0755 : S_IFREG | 0644;
  out->st_nlink = info.is_folder ? 2 : 1;
  static const UserIds owner = CurrentUserIds();
  out->st_uid = owner.user;
  out->st_gid = owner.group;
  out->st_size = info.size;
  out->st_blksize = kBlockSize;
  out->st_blocks = (info.size + 511) / 512;
  // What the worker could not tell is the beginning of its calendar, not of the system's.
  const auto unix_time = [](Seconds1601 time) { return std::max<int64_t>(0, ToUnix(time)); };
  out->st_mtim.tv_sec = unix_time(info.modified);
  out->st_ctim = out->st_atim = out->st_mtim;
}

void Tell(const std::string& path, const NodeInfo& info, struct stat* out) {
  FillStat(info, out);
  TheMount().told.Note(path, info.size, std::chrono::steady_clock::now());
}

int GetAttributes(const char* path, struct stat* out, fuse_file_info* open) {
  return Answer([&] {
    if (open) {
      const OpenFile& file = FileOf(open);
      Tell(PathOnMount(TheDrive().PathOf(file)), InfoOf(file, {}), out);
      return 0;
    }
    const auto info = TheDrive().Look(PathOnDrive(path));
    if (info) Tell(path, info.value, out);
    return ResultOf(info.error);
  });
}

int OpenFolderAt(const char* path, fuse_file_info* info) {
  return Answer([&] {
    info->fh = TheMount().folders.Keep(std::make_unique<OpenFolder>(PathOnDrive(path)));
    return 0;
  });
}

int ReleaseFolder(const char*, fuse_file_info* info) {
  TheMount().folders.Release(info->fh);
  return 0;
}

constexpr const char* kOwnEntries[] = {".", ".."};

// One reply's worth of entries, from the offset on: as many as fit and are known. An entry's offset
// is where the next one begins.
int FillFolder(FolderListing& listing, std::string path, void* buffer, fuse_fill_dir_t fill,
               off_t offset, fuse_fill_dir_flags flags) {
  if (!path.ends_with('/')) path += '/';
  const size_t folder_length = path.size();
  size_t next = static_cast<size_t>(offset);
  for (; next < std::size(kOwnEntries); ++next) {
    if (fill(buffer, kOwnEntries[next], nullptr, static_cast<off_t>(next + 1), {})) return 0;
  }
  bool holds_some = false;
  for (size_t index = next - std::size(kOwnEntries);; ++index) {
    const NamedNode* node = holds_some ? listing.AtOnce(index) : listing.At(index);
    if (!node) return holds_some ? 0 : ResultOf(listing.error());
    struct stat attributes;
    path.replace(folder_length, path.size(), ToUtf8(node->name));
    Tell(path, node->info, &attributes);
    const off_t after = static_cast<off_t>(index + std::size(kOwnEntries) + 1);
    if (fill(buffer, path.c_str() + folder_length, &attributes, after, flags)) return 0;
    holds_some = true;
  }
}

int ReadFolder(const char*, void* buffer, fuse_fill_dir_t fill, off_t offset, fuse_file_info* info,
               fuse_readdir_flags flags) {
  return Answer([&] {
    OpenFolder& folder = OpenHandles<OpenFolder>::Of(info->fh);
    std::shared_ptr<FolderListing> listing;
    std::string path;
    {
      const std::lock_guard lock(folder.mutex);
      if (offset == 0 || !folder.listing) folder.listing = TheDrive().OpenFolder(folder.path);
      listing = folder.listing;
      path = PathOnMount(folder.path);
    }
    const auto fill_flags =
        static_cast<fuse_fill_dir_flags>((flags & FUSE_READDIR_PLUS) ? FUSE_FILL_DIR_PLUS : 0);
    return FillFolder(*listing, std::move(path), buffer, fill, offset, fill_flags);
  });
}

int OpenFileAt(const char* path, fuse_file_info* info) {
  return Answer([&] {
    const bool empty_it = (info->flags & O_TRUNC) != 0;
    const auto opened = TheDrive().Open(PathOnDrive(path), empty_it);
    return ResultOf(opened ? KeepOpenOrClose(info, opened.value, path) : opened.error);
  });
}

int CreateFileAt(const char* path, mode_t, fuse_file_info* info) {
  return Answer([&] {
    auto opened = TheDrive().Create(PathOnDrive(path));
    // Somebody else made it since the kernel looked.
    if (opened.error == DriveError::kExists && !(info->flags & O_EXCL)) {
      opened = TheDrive().Open(PathOnDrive(path), (info->flags & O_TRUNC) != 0);
    }
    return ResultOf(opened ? KeepOpenOrClose(info, opened.value, path) : opened.error);
  });
}

int ReadFile(const char*, char* buffer, size_t size, off_t offset, fuse_file_info* info) {
  return Answer([&] {
    size_t done = 0;
    while (done < size) {
      const auto count =
          TheDrive().Read(FileOf(info), offset + static_cast<off_t>(done),
                          std::as_writable_bytes(std::span(buffer + done, size - done)));
      if (!count) return ResultOf(count.error);
      if (count.value == 0) break;
      done += count.value;
    }
    return static_cast<int>(done);
  });
}

int WriteFile(const char*, const char* data, size_t size, off_t offset, fuse_file_info* info) {
  return Answer([&] {
    WriteBlockPtr* const block = ReceivedWrite();
    const Written written = block ? Written(*block) : std::as_bytes(std::span(data, size));
    const DriveError error = Appends(info) ? TheDrive().Append(FileOf(info), written)
                                           : TheDrive().Write(FileOf(info), offset, written);
    return error == DriveError::kNone ? static_cast<int>(size) : ResultOf(error);
  });
}

int Truncate(const char* path, off_t size, fuse_file_info* info) {
  return Answer([&] {
    return ResultOf(info ? TheDrive().Resize(FileOf(info), size)
                         : TheDrive().ResizePath(PathOnDrive(path), size, ProcessName()));
  });
}

int FlushFile(const char*, fuse_file_info* info) {
  return Answer([&] { return ResultOf(TheDrive().Flush(FileOf(info), ProcessName())); });
}

int SyncFile(const char*, int, fuse_file_info* info) {
  return Answer([&] { return ResultOf(TheDrive().Flush(FileOf(info), ProcessName())); });
}

// Both who hides a file and who releases it last come here when they are done: one of them finds it
// hidden and closed. libfuse finds nothing then.
void RemoveHidden(TextView path) {
  Mounted& mount = TheMount();
  if (!mount.hidden.Holds(path)) return;
  bool is_open = false;
  mount.files.ForEach([&](const OpenHandle& handle) {
    is_open = is_open || mount.drive.PathOf(*handle.file) == path;
  });
  if (!is_open && mount.hidden.Take(path)) mount.drive.RemoveFile(path, ProcessName());
}

int ReleaseFile(const char*, fuse_file_info* info) {
  return Answer([&] {
    auto handle = TheMount().files.Release(info->fh);
    const FileHandle file = handle->file;
    // It is closed in any case: nobody releases it a second time.
    if (handle->maps) GuardedQuietly([&] { TheDrive().EndMapping(*file); });
    handle.reset();
    const DriveError error = TheDrive().Close(file, ProcessName());
    GuardedQuietly([&] { RemoveHidden(TheDrive().PathOf(*file)); });
    return ResultOf(error);
  });
}

int MakeFolderAt(const char* path, mode_t) {
  return Answer([&] { return ResultOf(TheDrive().MakeFolder(PathOnDrive(path))); });
}

int RemoveFileAt(const char* path) {
  return Answer([&] { return ResultOf(TheDrive().RemoveFile(PathOnDrive(path), ProcessName())); });
}

int RemoveFolderAt(const char* path) {
  return Answer(
      [&] { return ResultOf(TheDrive().RemoveFolder(PathOnDrive(path), ProcessName())); });
}

// Who has the folder open, or one beneath it, reads it under its new name.
void MoveOpenFolders(TextView from, TextView to) {
  TheMount().folders.ForEach([&](OpenFolder& folder) {
    const std::lock_guard lock(folder.mutex);
    if (IsWithin(folder.path, from)) folder.path.replace(0, from.size(), to);
  });
}

void Hide(const Text& path) {
  TheMount().hidden.Add(path);
  RemoveHidden(path);
}

int RenameAt(const char* from, const char* to, unsigned flags) {
  return Answer([&] {
    constexpr unsigned kNoReplace = 1;
    if ((flags & ~kNoReplace) != 0) return -EINVAL;
    const Text source = PathOnDrive(from), target = PathOnDrive(to);
    const DriveError error = TheDrive().Rename(source, target, flags == 0, ProcessName());
    if (error != DriveError::kNone) return ResultOf(error);
    // It is renamed, whatever becomes of the rest.
    GuardedQuietly([&] { MoveOpenFolders(source, target); });
    if (Hides(to)) GuardedQuietly([&] { Hide(target); });
    return 0;
  });
}

// The server keeps its own times, owners and modes. Programs that set them after a copy are not to
// fail.
int SetTimes(const char*, const timespec[2], fuse_file_info*) { return 0; }
int SetMode(const char*, mode_t, fuse_file_info*) { return 0; }
int SetOwner(const char*, uid_t, gid_t, fuse_file_info*) { return 0; }

int VolumeStat(const char*, struct statvfs* out) {
  return Answer([&] {
    const auto volume = TheDrive().Volume();
    if (!volume) return ResultOf(volume.error);
    constexpr uint64_t kMebibyte = 1 << 20;
    std::memset(out, 0, sizeof *out);
    out->f_bsize = kMebibyte;
    out->f_frsize = kMebibyte;
    out->f_blocks = static_cast<fsblkcnt_t>(std::max<int64_t>(0, volume.value.quota_mib));
    const auto used = static_cast<fsblkcnt_t>(std::max<int64_t>(0, volume.value.used_mib));
    out->f_bfree = out->f_bavail = out->f_blocks > used ? out->f_blocks - used : 0;
    out->f_namemax = 255;
    return 0;
  });
}

void* Initialise(fuse_conn_info* connection, fuse_config* config) {
  connection->max_write = kLargestBlock;
  connection->max_read = kLargestBlock;  // as the mount option says it
  connection->max_readahead = kLargestBlock;
  connection->want |= connection->capable & (FUSE_CAP_READDIRPLUS | FUSE_CAP_ASYNC_READ);
  connection->want &= ~static_cast<unsigned>(FUSE_CAP_READDIRPLUS_AUTO);
  config->use_ino = 0;
  config->entry_timeout = static_cast<double>(kAttributeLifetime.count());
  config->attr_timeout = static_cast<double>(kAttributeLifetime.count());
  config->negative_timeout = 0;
  // What concerns an open file comes without its path, which libfuse would keep from renames and
  // removals until it is answered: those would wait for an upload where no signal reaches them.
  config->nullpath_ok = 1;
  return fuse_get_context()->private_data;
}

}  // namespace

fuse_operations FuseCallbacks() {
  fuse_operations operations{};
  operations.getattr = GetAttributes;
  operations.opendir = OpenFolderAt;
  operations.readdir = ReadFolder;
  operations.releasedir = ReleaseFolder;
  operations.open = OpenFileAt;
  operations.create = CreateFileAt;
  operations.read = ReadFile;
  operations.write = WriteFile;
  operations.truncate = Truncate;
  operations.flush = FlushFile;
  operations.fsync = SyncFile;
  operations.release = ReleaseFile;
  operations.mkdir = MakeFolderAt;
  operations.unlink = RemoveFileAt;
  operations.rmdir = RemoveFolderAt;
  operations.rename = RenameAt;
  operations.utimens = SetTimes;
  operations.chmod = SetMode;
  operations.chown = SetOwner;
  operations.statfs = VolumeStat;
  operations.init = Initialise;
  return operations;
}

}  // namespace zv
