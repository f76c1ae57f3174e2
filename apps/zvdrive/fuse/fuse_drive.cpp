#define FUSE_USE_VERSION 312

#include "apps/zvdrive/fuse/fuse_drive.h"

#include <fuse.h>
#include <fuse_lowlevel.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <shared_mutex>
#include <sstream>
#include <stdexcept>

#include "apps/zvdrive/drive/drive_path.h"
#include "apps/zvdrive/drive/told_sizes.h"
#include "apps/zvdrive/fuse/open_handles.h"
#include "apps/zvdrive/fuse/open_modes.h"
#include "apps/zvdrive/fuse/passthrough.h"
#include "apps/zvdrive/fuse/received_write.h"
#include "apps/zvdrive/fuse/session_io.h"
#include "platform/console.h"
#include "platform/posix/process_name.h"
#include "platform/thread.h"

namespace zv {
namespace {

constexpr std::chrono::seconds kAttributeLifetime{1};
// Each call that waits for a transfer holds one: ten would be one copying program.
constexpr unsigned kMostThreads = 200;
constexpr unsigned kIdleThreads = 10;
// What programs should read and write at once: each of their calls is a request of its own.
constexpr uint32_t kBlockSize = kLargestBlock;

int ErrnoOf(DriveError error) {
  switch (error) {
    case DriveError::kNone:
      return 0;
    case DriveError::kNotFound:
      return ENOENT;
    case DriveError::kExists:
      return EEXIST;
    case DriveError::kIo:
    case DriveError::kNotStored:
      return EIO;
    case DriveError::kTooBig:
      return EFBIG;
    case DriveError::kNotEmpty:
      return ENOTEMPTY;
    case DriveError::kIsFolder:
      return EISDIR;
    case DriveError::kNotFolder:
      return ENOTDIR;
    case DriveError::kInvalidName:
    case DriveError::kIntoItself:
      return EINVAL;
    case DriveError::kNameTooLong:
      return ENAMETOOLONG;
    case DriveError::kNotUnique:
      return ENOTUNIQ;
    case DriveError::kNotPermitted:
      return EPERM;
  }
  return EIO;
}

int Result(DriveError error) { return -ErrnoOf(error); }

struct OpenFolder {
  std::mutex mutex;
  std::shared_ptr<FolderListing> listing;  // from the first read on, and anew at each rewinding
};

struct OpenHandle {
  FileHandle file;
  std::optional<ContentView> view;  // while reads go past us
  std::optional<KernelOpen> open;
  bool maps = false;  // a shared map of it would be one of the cached content
};

// What the callbacks work on.
struct Mounted {
  explicit Mounted(VirtualDrive& shown) : drive(shown) {}

  VirtualDrive& drive;
  ToldSizes told{kAttributeLifetime};
  OpenModes modes;
  OpenHandles<OpenHandle> files;
  OpenHandles<OpenFolder> folders;
};
Mounted& TheMount() { return *static_cast<Mounted*>(fuse_get_context()->private_data); }
VirtualDrive& Drive() { return TheMount().drive; }

// A path of the mount as one of the drive; throws its errno when the drive cannot hold it.
struct PathError {
  int error;
};
Text DrivePath(const char* path) {
  const Text text = FromUtf8(path);
  if (ToUtf8(text) != path) throw PathError{EILSEQ};
  if (text.find(u'\\') != Text::npos) throw PathError{EINVAL};
  if (text.size() >= kPathUnits) throw PathError{ENAMETOOLONG};
  return ReplaceAll(text, u'/', u'\\');
}

// The image name of the program that asks; the kernel does not say which one releases a file.
Text ProcessName() { return FromUtf8(ImageNameOf(fuse_get_context()->pid)); }

template <typename Body>
int Answer(Body&& body) noexcept {
  try {
    return body();
  } catch (const PathError& error) {
    return -error.error;
  } catch (const std::bad_alloc&) {
    return -ENOMEM;
  } catch (...) {
    return -EIO;
  }
}

OpenFile& FileOf(const fuse_file_info* info) { return *OpenHandles<OpenHandle>::Of(info->fh).file; }
bool Appends(const fuse_file_info* info) { return (info->flags & O_APPEND) != 0; }

// Smaller files are as fast when they are read through us.
constexpr int64_t kLeastPassedThrough = kLargestBlock;

// What this open's reads may be passed through to.
std::optional<ContentView> ViewFor(const fuse_file_info* info, const FileHandle& file) {
  const bool only_reads = (info->flags & (O_ACCMODE | O_TRUNC)) == O_RDONLY;
  if (!only_reads || file->size < kLeastPassedThrough) return std::nullopt;
  if (!TheMount().modes.MayPassThrough(file.get())) return std::nullopt;
  return Drive().ViewContent(file);
}

// The kernel reads and appends by the size that it knows. Where that may be stale, the open
// bypasses its cache (direct_io): to make it forget a size means to wait for its reads, which other
// serving threads may have to answer.
DriveError KeepOpen(fuse_file_info* info, const OpenedFile& opened, std::string_view path) {
  Mounted& mount = TheMount();
  auto handle = std::make_unique<OpenHandle>();
  handle->file = opened.file;
  const bool knows_another_size =
      !opened.is_unchanged &&
      mount.told.MayDiffer(path, opened.file->size, std::chrono::steady_clock::now());
  const bool writes_only = (info->flags & O_ACCMODE) == O_WRONLY;
  const bool uncached = writes_only || Appends(info) || knows_another_size;
  auto view = ViewFor(info, opened.file);
  handle->open.emplace(mount.modes, opened.file.get(), uncached, view);
  const OpenMode mode = handle->open->mode();
  if (mode.reads_past_us()) handle->view.emplace(*std::move(view));
  info->keep_cache = opened.is_unchanged && !mode.is_passed_through;  // one or the other
  info->direct_io = mode.is_uncached;
  if (mode.is_passed_through && mode.is_uncached && (info->flags & O_ACCMODE) == O_RDWR) {
    if (const DriveError error = Drive().BeginMapping(*opened.file); error != DriveError::kNone) {
      return error;
    }
    handle->maps = true;
  }
  info->fh = mount.files.Keep(std::move(handle));
  return DriveError::kNone;
}

DriveError KeepOpenOrClose(fuse_file_info* info, const OpenedFile& opened, std::string_view path) {
  const auto close = [&] { Drive().Close(opened.file, ProcessName()); };
  DriveError error = DriveError::kNone;
  try {
    error = KeepOpen(info, opened, path);
  } catch (...) {
    close();
    throw;
  }
  if (error != DriveError::kNone) close();
  return error;
}

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

int GetAttributes(const char* path, struct stat* out, fuse_file_info*) {
  return Answer([&] {
    const auto info = Drive().Look(DrivePath(path));
    if (info) {
      FillStat(info.value, out);
      TheMount().told.Note(path, info.value.size, std::chrono::steady_clock::now());
    }
    return Result(info.error);
  });
}

int OpenFolderAt(const char*, fuse_file_info* info) {
  return Answer([&] {
    info->fh = TheMount().folders.Keep(std::make_unique<OpenFolder>());
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
    if (!node) return holds_some ? 0 : Result(listing.error());
    struct stat attributes;
    FillStat(node->info, &attributes);
    path.replace(folder_length, path.size(), ToUtf8(node->name));
    const off_t after = static_cast<off_t>(index + std::size(kOwnEntries) + 1);
    TheMount().told.Note(path, node->info.size, std::chrono::steady_clock::now());
    if (fill(buffer, path.c_str() + folder_length, &attributes, after, flags)) return 0;
    holds_some = true;
  }
}

int ReadFolder(const char* path, void* buffer, fuse_fill_dir_t fill, off_t offset,
               fuse_file_info* info, fuse_readdir_flags flags) {
  return Answer([&] {
    OpenFolder& folder = OpenHandles<OpenFolder>::Of(info->fh);
    std::shared_ptr<FolderListing> listing;
    {
      const std::lock_guard lock(folder.mutex);
      if (offset == 0 || !folder.listing) folder.listing = Drive().OpenFolder(DrivePath(path));
      listing = folder.listing;
    }
    const auto fill_flags =
        static_cast<fuse_fill_dir_flags>((flags & FUSE_READDIR_PLUS) ? FUSE_FILL_DIR_PLUS : 0);
    return FillFolder(*listing, path, buffer, fill, offset, fill_flags);
  });
}

int OpenFileAt(const char* path, fuse_file_info* info) {
  return Answer([&] {
    const bool empty_it = (info->flags & O_TRUNC) != 0;
    const auto opened = Drive().Open(DrivePath(path), empty_it);
    return Result(opened ? KeepOpenOrClose(info, opened.value, path) : opened.error);
  });
}

int CreateFileAt(const char* path, mode_t, fuse_file_info* info) {
  return Answer([&] {
    auto opened = Drive().Create(DrivePath(path));
    // Somebody else made it since the kernel looked.
    if (opened.error == DriveError::kExists && !(info->flags & O_EXCL)) {
      opened = Drive().Open(DrivePath(path), (info->flags & O_TRUNC) != 0);
    }
    return Result(opened ? KeepOpenOrClose(info, opened.value, path) : opened.error);
  });
}

int ReadFile(const char*, char* buffer, size_t size, off_t offset, fuse_file_info* info) {
  return Answer([&] {
    size_t done = 0;
    while (done < size) {
      const auto count =
          Drive().Read(FileOf(info), offset + static_cast<off_t>(done),
                       std::as_writable_bytes(std::span(buffer + done, size - done)));
      if (!count) return Result(count.error);
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
    const DriveError error = Appends(info) ? Drive().Append(FileOf(info), written)
                                           : Drive().Write(FileOf(info), offset, written);
    return error == DriveError::kNone ? static_cast<int>(size) : Result(error);
  });
}

int Truncate(const char* path, off_t size, fuse_file_info* info) {
  return Answer([&] {
    return Result(info ? Drive().Resize(FileOf(info), size)
                       : Drive().ResizePath(DrivePath(path), size, ProcessName()));
  });
}

int FlushFile(const char*, fuse_file_info* info) {
  return Answer([&] { return Result(Drive().Flush(FileOf(info), ProcessName())); });
}

int SyncFile(const char*, int, fuse_file_info* info) {
  return Answer([&] { return Result(Drive().Flush(FileOf(info), ProcessName())); });
}

int ReleaseFile(const char*, fuse_file_info* info) {
  return Answer([&] {
    auto handle = TheMount().files.Release(info->fh);
    const FileHandle file = handle->file;
    if (handle->maps) Drive().EndMapping(*file);
    handle.reset();
    return Result(Drive().Close(file, ProcessName()));
  });
}

int MakeFolderAt(const char* path, mode_t) {
  return Answer([&] { return Result(Drive().MakeFolder(DrivePath(path))); });
}

int RemoveFileAt(const char* path) {
  return Answer([&] { return Result(Drive().RemoveFile(DrivePath(path), ProcessName())); });
}

int RemoveFolderAt(const char* path) {
  return Answer([&] { return Result(Drive().RemoveFolder(DrivePath(path), ProcessName())); });
}

int RenameAt(const char* from, const char* to, unsigned flags) {
  return Answer([&] {
    constexpr unsigned kNoReplace = 1;
    if ((flags & ~kNoReplace) != 0) return -EINVAL;
    return Result(Drive().Rename(DrivePath(from), DrivePath(to), flags == 0, ProcessName()));
  });
}

// The server keeps its own times, owners and modes. Programs that set them after a copy are not to
// fail.
int SetTimes(const char*, const timespec[2], fuse_file_info*) { return 0; }
int SetMode(const char*, mode_t, fuse_file_info*) { return 0; }
int SetOwner(const char*, uid_t, gid_t, fuse_file_info*) { return 0; }

int VolumeStat(const char*, struct statvfs* out) {
  return Answer([&] {
    const auto volume = Drive().Volume();
    if (!volume) return Result(volume.error);
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
  return fuse_get_context()->private_data;
}

fuse_operations Operations() {
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

// The kernel reads 128 KiB ahead unless the mount's own setting says more; each of its requests
// costs the same, however long it is. Only root may change it: for others it stays as it is.
void ReadFurtherAhead(const std::string& mount_point) {
  std::ifstream mounts("/proc/self/mountinfo");
  std::string found;
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream fields(line);
    std::string id, parent, device, root, point;
    if (fields >> id >> parent >> device >> root >> point && point == mount_point) found = device;
  }
  if (!found.empty()) {
    std::ofstream("/sys/class/bdi/" + found + "/read_ahead_kb") << kLargestBlock / 1024;
  }
}

}  // namespace

struct FuseMount::Impl {
  explicit Impl(VirtualDrive& drive) : mounted(drive) {}

  Mounted mounted;
  fuse_operations operations = Operations();
  struct fuse* fuse = nullptr;
  std::filesystem::path place;
  std::atomic<bool> stops = false;
  std::shared_mutex device;  // shared by those who use it without serving
  Thread waker;
};

std::string MissingForMount() {
  std::error_code error;
  if (!std::filesystem::exists("/dev/fuse", error)) {
    return "this machine has no FUSE (/dev/fuse is missing)";
  }
  if (!std::fstream("/dev/fuse", std::ios::in | std::ios::out)) {
    return "this user may not open /dev/fuse";
  }
  if (CurrentUserIds().user != 0 && !std::filesystem::exists("/usr/bin/fusermount3", error)) {
    return "fusermount3 is missing (package fuse3)";
  }
  return {};
}

FuseMount::FuseMount(VirtualDrive& drive, const MountOptions& options)
    : impl_(std::make_unique<Impl>(drive)) {
  std::string mount_options = "fsname=zvdrive,subtype=zvdrive,default_permissions,max_read=1048576";
  if (options.allow_other) mount_options += ",allow_other";
  if (options.read_only) mount_options += ",ro";
  std::string program = "zvdrive", flag = "-o";
  char* argv[] = {program.data(), flag.data(), mount_options.data(), nullptr};
  fuse_args arguments = FUSE_ARGS_INIT(3, argv);
  impl_->fuse = fuse_new(&arguments, &impl_->operations, sizeof impl_->operations, &impl_->mounted);
  fuse_opt_free_args(&arguments);
  if (!impl_->fuse) throw std::runtime_error("FUSE refused the mount options");
  std::error_code unknown;
  impl_->place = std::filesystem::canonical(options.mount_point, unknown);
  if (fuse_mount(impl_->fuse, options.mount_point.c_str()) != 0) {
    fuse_destroy(impl_->fuse);
    throw std::runtime_error("cannot mount on " + options.mount_point);
  }
  fuse_session* const session = fuse_get_session(impl_->fuse);
  if (!options.own_reads) WantPassthrough();
  CarryRequests(session);
  impl_->mounted.modes.SetSession(session);
  ReadFurtherAhead(impl_->place.string());
}

FuseMount::~FuseMount() {
  fuse_unmount(impl_->fuse);
  impl_->waker.Join();
  fuse_destroy(impl_->fuse);
}

void FuseMount::Serve() {
  const std::unique_ptr<fuse_loop_config, decltype(&fuse_loop_cfg_destroy)> config(
      fuse_loop_cfg_create(), &fuse_loop_cfg_destroy);
  fuse_loop_cfg_set_max_threads(config.get(), kMostThreads);
  fuse_loop_cfg_set_idle_threads(config.get(), kIdleThreads);
  fuse_loop_mt(impl_->fuse, config.get());
  impl_->stops = true;
  // Unmounting closes the device, whose number may be another file's at once.
  const std::lock_guard lock(impl_->device);
  // Programs that still have files open keep nobody waiting: what they wrote is kept in the cache.
  impl_->mounted.modes.ForgetAll();
  fuse_unmount(impl_->fuse);
}

// The threads that read from the kernel's device end before it is closed: one of them is woken by a
// request that concerns nobody, and then sees that it is to stop; it takes the others along. Should
// they be gone before they see the request, it fails when the device is closed.
void FuseMount::Stop() {
  if (impl_->stops.exchange(true)) return;
  fuse_exit(impl_->fuse);
  const auto ask = [impl = impl_.get()] {
    struct statx unused {};
    return static_cast<uint32_t>(
        ::statx(AT_FDCWD, impl->place.c_str(), AT_STATX_FORCE_SYNC, STATX_SIZE, &unused));
  };
  try {
    impl_->waker = Thread::Start(ask);
  } catch (...) {
    ask();  // no thread can be made: who stops the mount waits for the answer
  }
}

void FuseMount::Invalidate(TextView path) {
  const std::shared_lock lock(impl_->device);
  if (impl_->stops) return;
  fuse_invalidate_path(impl_->fuse, ToUtf8(ReplaceAll(path, u'\\', u'/')).c_str());
}

bool IsFuseCallInterrupted() { return fuse_get_context() != nullptr && fuse_interrupted() != 0; }

}  // namespace zv
