#include "apps/zvdrive/fuse/keep_open.h"

#define FUSE_USE_VERSION 312
#include <fuse.h>

#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include "apps/zvdrive/fuse/mounted.h"
#include "config/guard.h"

namespace zv {
namespace {

// Smaller files are as fast when they are read through us.
constexpr int64_t kLeastPassedThrough = kLargestBlock;

// What this open's reads may be passed through to.
std::optional<ContentView> ViewFor(const fuse_file_info* info, const FileHandle& file) {
  const bool only_reads = (info->flags & (O_ACCMODE | O_TRUNC)) == O_RDONLY;
  if (!only_reads || file->size < kLeastPassedThrough) return std::nullopt;
  if (!TheMount().modes.MayPassThrough(file.get())) return std::nullopt;
  return TheDrive().ViewContent(file);
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
  const bool appends = (info->flags & O_APPEND) != 0;
  const bool uncached = writes_only || appends || knows_another_size;
  auto view = ViewFor(info, opened.file);
  handle->open.emplace(mount.modes, opened.file.get(), uncached, view);
  const OpenMode mode = handle->open->mode();
  if (mode.reads_past_us()) handle->view.emplace(*std::move(view));
  info->keep_cache = opened.is_unchanged && !mode.is_passed_through;  // one or the other
  info->direct_io = mode.is_uncached;
  OpenHandle& kept = *handle;
  info->fh = mount.files.Keep(std::move(handle));
  if (mode.is_passed_through && mode.is_uncached && (info->flags & O_ACCMODE) == O_RDWR) {
    // Last: whose handle could not be kept would never end its mapping.
    const DriveError error =
        GuardedQuietly(DriveError::kIo, [&] { return TheDrive().BeginMapping(*opened.file); });
    if (error != DriveError::kNone) {
      mount.files.Release(info->fh);
      return error;
    }
    kept.maps = true;
  }
  return DriveError::kNone;
}

}  // namespace

DriveError KeepOpenOrClose(fuse_file_info* info, const OpenedFile& opened, std::string_view path) {
  const auto close = [&] { TheDrive().Close(opened.file, ProcessName()); };
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

}  // namespace zv
