// The check of one cached file against the server.
#include <algorithm>

#include "cache/cache.h"
#include "cache/listing_file.h"
#include "platform/error.h"
#include "platform/file.h"

namespace zv {
namespace {

constexpr size_t kDriveLetterUnits = 2;

}  // namespace

uint32_t CCache::CheckFileModified(TextView drive_path) {
  return Guarded(
      0U,
      [&] {
        const TextView rest = drive_path.substr(std::min(kDriveLetterUnits, drive_path.size()));
        const Text path = ReplaceAll(rest, u'\\', u'/');
        // The cache holds the newest copy there is.
        if (IsPending(path)) return 1U;
        FileTime stored;
        if (!GetFileTimeEntry(path, &stored)) ClearCacheForPath(path, ClearKind::kFile);
        int64_t content_length = 0;
        FileTime server_time;
        if (!server_->GetLastModifiedTime(path, &content_length, &server_time)) {
          ClearCacheForPath(path, ClearKind::kFile);
        } else if (!CompareFileTime(server_time, stored)) {
          RefreshFileRecord(path, content_length);
        }
        return 1U;
      },
      TraceFileFailure(u"Exception in CheckFileModified : %s", u"Exception in CheckFileModified!"));
}

// The record takes the server's length and keeps its times; the contents go, to be fetched anew.
void CCache::RefreshFileRecord(TextView path, int64_t content_length) {
  const TextView leaf = PathLeaf(path);
  const Text listing_file = names_.GetDirRecordName(PathParent(path));
  if (const auto listed = ListedEntry(listing_file, path)) {
    current_entry_ = CurrentEntry::Of(*listed, leaf);
    current_entry_.size = static_cast<uint32_t>(content_length);
    EditListing(listing_file, {.old_leaf = leaf, .new_leaf = {}, .appended = CurrentEntryRecord()});
  } else {
    LogEntryNotAdded(listing_file);
  }
  ClearCacheForPath(path, ClearKind::kFile);
}

// Zeroed where the listing has no record of the path. nullopt, with LastError(), where that cannot
// be told: a record that is there is not to be replaced by a zeroed one.
std::optional<DirectoryEntry> CCache::ListedEntry(TextView listing_file, TextView path) {
  DirectoryEntry entry;
  if (GetCachedResourceDetails(path, &entry)) return entry;
  if (const auto text = ReadListing(listing_file, Disposition::kOpenExisting)) {
    FindRecord(*text, path, &entry);
    return entry;
  }
  const uint32_t code = LastError();
  const bool is_missing = code == kErrorFileNotFound || code == kErrorPathNotFound;
  return is_missing ? std::optional(entry) : std::nullopt;
}

}  // namespace zv
