// The part of platform/file.h that works on names: finding, listing, moving, copying.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "platform/error.h"
#include "platform/file.h"
#include "platform/posix/long_name.h"
#include "platform/posix/native_path.h"
#include "platform/posix/rename_new.h"
#include "platform/shared/path.h"
#include "platform/shared/stored_name.h"

namespace zv {
namespace {

bool Fail(int code) {
  SetLastError(static_cast<uint32_t>(code));
  return false;
}

bool FailWithErrno() { return Fail(errno); }

[[noreturn]] void ThrowErrno() {
  FailWithErrno();
  ThrowLastError(ErrorKind::kFile);
}

FileTime ToFileTime(const timespec& time) {
  const int64_t seconds = time.tv_sec + kUnixEpochSeconds1601;
  return {static_cast<uint64_t>(seconds * kFileTimeUnitsPerSecond + time.tv_nsec / 100)};
}

FileInfo MakeInfo(Text name, const struct stat& status) {
  const bool is_folder = S_ISDIR(status.st_mode);
  return {.name = std::move(name),
          .is_folder = is_folder,
          .size = is_folder ? 0 : static_cast<int64_t>(status.st_size),
          .last_write = ToFileTime(status.st_mtim)};
}

// nullopt, with LastError(), when the disk does not tell.
std::optional<Text> TextNameOf(const std::string& folder, std::string_view name) {
  if (LooksStored(name)) {
    if (auto true_name = TrueNameOf(folder, name)) return true_name;
    if (!MeansAbsent(errno)) {
      FailWithErrno();
      return std::nullopt;
    }
  }
  return DecodeFileName(name);
}

struct Found {
  std::string path;  // as it stands on the disk
  struct stat status;
};

// nullopt with LastError(): ENOENT when nothing is there, else why the system does not tell.
std::optional<Found> Find(const NativePath& path) {
  Found found{.path = path.path, .status = {}};
  if (::stat(found.path.c_str(), &found.status) == 0) return found;
  int error = errno;
  if (MeansAbsent(error)) {
    Elsewhere elsewhere = LookElsewhere(path);
    error = elsewhere.error;
    if (elsewhere.found) {
      found.path = *std::move(elsewhere.found);
      if (::stat(found.path.c_str(), &found.status) == 0) return found;
      error = errno;
    }
  }
  Fail(MeansAbsent(error) ? ENOENT : error);
  return std::nullopt;
}

std::optional<Found> Find(TextView path) {
  const auto native = ToNativePath(path);
  return native ? Find(*native) : std::nullopt;
}

// Whether Find, which has just found nothing, has seen that nothing is there.
bool SawNothing() { return LastError() == ENOENT; }

// Where a move or copy ends.
struct Target {
  std::string place;              // with the spelling asked for
  Text long_name;                 // as in NativePath
  std::optional<Found> existing;  // what stands there, perhaps spelled otherwise
};

std::optional<Target> FindTarget(TextView path) {
  const auto native = ToNativePath(path);
  if (!native) return std::nullopt;
  const auto place = PlaceForNew(*native);
  if (!place) return std::nullopt;
  auto existing = Find(*native);
  if (!existing && !SawNothing()) return std::nullopt;
  return Target{.place = *place, .long_name = native->long_name, .existing = std::move(existing)};
}

enum class Replace { kNever, kAlways };

// Moves and brings the true names of long names up to date.
bool Move(const Found& from, const Target& to, const std::string& place, Replace replace) {
  {
    const auto lock = KeepTrueName(std::string(FolderOf(place)), to.long_name);
    if (!lock) return FailWithErrno();
    const bool moved = replace == Replace::kNever ? RenameToNew(from.path, place)
                                                  : ::rename(from.path.c_str(), place.c_str()) == 0;
    if (!moved) return FailWithErrno();
  }
  const std::string_view old_name = NameOf(from.path);
  if (LooksStored(old_name)) DropTrueName(std::string(FolderOf(from.path)), old_name);
  return true;
}

// Leaves nothing where the copy breaks off.
bool CopyBytes(File in, File out, TextView to, std::vector<char>& buffer) {
  try {
    while (const size_t got = in.Read(buffer.data(), buffer.size())) out.Write(buffer.data(), got);
    out.CloseWritten();
    return true;
  } catch (const Error& error) {
    out.Close();
    RemoveFile(to);
    return Fail(static_cast<int>(error.code()));
  }
}

bool CopyTime(const Found& from, TextView to) {
  const auto target = Find(to);
  if (!target) return false;
  const timespec times[] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, from.status.st_mtim};
  return ::utimensat(AT_FDCWD, target->path.c_str(), times, 0) == 0 || FailWithErrno();
}

bool MakeOneFolder(TextView folder) {
  const auto target = FindTarget(folder);
  if (!target) return false;
  const auto lock = KeepTrueName(std::string(FolderOf(target->place)), target->long_name);
  if (!lock) return FailWithErrno();
  const bool made = ::mkdir(target->place.c_str(), 0700) == 0 || errno == EEXIST;
  return made || FailWithErrno();
}

}  // namespace

std::optional<FileInfo> FindPath(TextView path) {
  const auto found = Find(path);
  if (!found) return std::nullopt;
  const std::string_view name = NameOf(found->path);
  auto text = TextNameOf(std::string(FolderOf(found->path)), name);
  // Of an untold name the size and the time are known all the same.
  return MakeInfo(text ? *std::move(text) : DecodeFileName(name), found->status);
}

bool FileExists(TextView path) { return Find(path).has_value(); }

bool IsAbsent(TextView path) {
  const auto native = ToNativePath(path);
  return !native || (!Find(*native) && SawNothing());
}

std::vector<FileInfo> ListFolder(TextView folder) {
  const auto native = ToNativePath(folder);
  if (!native) return {};
  const auto found = Find(*native);
  if (!found && SawNothing()) return {};
  if (!found) ThrowLastError(ErrorKind::kFile);
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(found->path.c_str()), ::closedir);
  if (!stream && MeansAbsent(errno)) return {};
  if (!stream) ThrowErrno();
  std::vector<FileInfo> list;
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(stream.get());
    if (!entry && errno != 0) ThrowErrno();
    if (!entry) return list;
    const std::string_view name = entry->d_name;
    if (name == "." || name == ".." || name == kTrueNamesFolder) continue;
    struct stat status;
    if (::fstatat(::dirfd(stream.get()), entry->d_name, &status, 0) != 0) continue;
    auto text = TextNameOf(found->path, name);
    if (!text) ThrowLastError(ErrorKind::kFile);
    list.push_back(MakeInfo(*std::move(text), status));
  }
}

bool MoveToNew(TextView from, TextView to) {
  const auto source = Find(from);
  if (!source) return false;
  const auto target = FindTarget(to);
  if (!target) return false;
  if (!target->existing) return Move(*source, *target, target->place, Replace::kNever);
  if (target->existing->path != source->path) return Fail(EEXIST);
  return Move(*source, *target, target->place, Replace::kAlways);  // a change of case at the most
}

bool MoveOver(TextView from, TextView to) {
  const auto source = Find(from);
  if (!source) return false;
  const auto target = FindTarget(to);
  if (!target) return false;
  const bool replaces = target->existing && target->existing->path != source->path;
  if (!replaces) return Move(*source, *target, target->place, Replace::kAlways);
  if (S_ISDIR(target->existing->status.st_mode)) return Fail(EISDIR);
  return Move(*source, *target, target->existing->path, Replace::kAlways);
}

bool CopyOver(TextView from, TextView to) {
  const auto source = Find(from);
  if (!source) return false;
  const auto target = Find(to);
  if (!target && !SawNothing()) return false;
  if (target && target->path == source->path) return Fail(EBUSY);  // would empty the only copy
  File in = File::Open(from, Access::kRead, Disposition::kOpenExisting);
  if (!in) return false;
  // Had before the target is emptied.
  std::vector<char> buffer(size_t{256} * 1024);
  File out = File::Open(to, Access::kWrite, Disposition::kCreateAlways);
  if (!out) return false;
  return CopyBytes(std::move(in), std::move(out), to, buffer) && CopyTime(*source, to);
}

bool RemoveFile(TextView path) {
  const auto found = Find(path);
  if (!found) return false;
  if (::unlink(found->path.c_str()) != 0) return FailWithErrno();
  const std::string_view name = NameOf(found->path);
  if (LooksStored(name)) DropTrueName(std::string(FolderOf(found->path)), name);
  return true;
}

bool MakeFolders(TextView folder) {
  const DrivePath parts = SplitDrive(folder);
  TextView rest = parts.rest;
  for (;;) {
    const bool last = TakePathElement(&rest).empty();
    const TextView part = folder.substr(0, static_cast<size_t>(rest.data() - folder.data()));
    const auto found = Find(part);
    if (found && !S_ISDIR(found->status.st_mode)) return Fail(EEXIST);
    if (!found && !MakeOneFolder(part)) return false;
    if (last) return true;
  }
}

std::optional<uint64_t> FreeSpace(TextView path) {
  const auto native = ToNativePath(path);
  if (!native) return std::nullopt;
  // What is still to be made will be on the disk of the nearest folder that is there.
  std::string folder = FindOnDisk(*native).value_or(native->path);
  struct statvfs disk;
  while (::statvfs(folder.c_str(), &disk) != 0) {
    if (errno != ENOENT || folder.empty()) {
      FailWithErrno();
      return std::nullopt;
    }
    folder = FolderOf(folder);
  }
  return uint64_t{disk.f_bavail} * disk.f_frsize;
}

}  // namespace zv
