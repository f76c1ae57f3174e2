// Filling listings from the server and keeping them fresh.
#include <algorithm>

#include "cache/cache.h"
#include "cache/entry_record.h"
#include "cache/listing_file.h"
#include "platform/error.h"
#include "platform/file.h"

namespace zv {
namespace {

constexpr TextView kServerOpenFailure =
    u"Unable to open file %s for writing cache details, Reason: %s";
constexpr TextView kSyncOpenFailure =
    u"Unable to open file %s for writing cache details. Reason: %s";
constexpr TextView kNeverListed = u"/Cirrux Portable NEW/";

bool IsRoot(TextView folder) { return folder.empty() || folder == u"/"; }

Text WithTrailingSlash(TextView path) {
  Text folder(path);
  if (!folder.ends_with(u'/')) folder += u'/';
  return folder;
}

}  // namespace

bool CCache::GetCachedDirContents(TextView folder, int32_t index, DirectoryEntry* reply) {
  return Guarded(
      false,
      [&] {
        ReadIsSync();
        const Text listing_file = names_.GetDirRecordName(folder);
        if (!RefreshListing(folder, listing_file, index)) return false;
        if (index == 1) ShowPendingEntries(folder, listing_file);
        return ParseSingleFromFile(listing_file, index, reply);
      },
      TraceFileFailure(u"%s", u"Exception while Getting cached dir contents!"));
}

bool CCache::RefreshListing(TextView folder, const Text& listing_file, int32_t index) {
  if (!FileExists(listing_file)) return FetchMissingListing(folder);
  const bool checked = folder == last_checked_folder_;
  if (!checked && cache_enabled_ && !is_sync()) return FetchStaleListing(folder);
  // A sync account compares no times; each walk fetches anew.
  if (is_sync() && index == 1) return CacheFolderContents(folder);
  return true;
}

bool CCache::FetchMissingListing(TextView folder) {
  if (!CacheFolderContents(folder)) return false;
  if (is_sync()) return true;
  CWebDAV client;
  Seconds1601 time;
  if (client.GetFolderLastModifiedTime(folder, &time)) SetFileTimeEntry(folder, ToFileTime(time));
  return true;
}

bool CCache::FetchStaleListing(TextView folder) {
  FileTime stored;
  GetFileTimeEntry(folder, &stored);
  last_checked_folder_ = folder;
  CWebDAV client;
  Seconds1601 server_seconds;
  const bool answered = client.GetFolderLastModifiedTime(folder, &server_seconds) != 0;
  const FileTime server_time = ToFileTime(server_seconds);
  if (answered && CompareFileTime(stored, server_time)) return true;

  if (!CacheFolderContents(folder)) return false;
  if (!answered) return true;
  UpdateRootCacheFileList(folder, server_time);
  SetFileTimeEntry(folder, server_time);
  return true;
}

bool CCache::CacheFolderContents(TextView folder, DirectoryEntry** entries) {
  return Guarded(
      false,
      [&] {
        const bool sync = ReadIsSync();
        const ListingFetch fetch(names_.GetDirRecordName(folder));
        DirectoryEntry* fetched = nullptr;
        const bool have =
            sync ? FetchSyncEntries(folder, &fetched, fetch) : FetchServerEntries(folder, &fetched);
        if (!have || !fetched) return false;
        if (!StoreListing(folder, ListingText(folder, fetched),
                          sync ? kSyncOpenFailure : kServerOpenFailure, fetch)) {
          return false;
        }
        if (entries) {
          *entries = fetched;
        } else if (const auto release = GetUtilityLibrary().release) {
          release();
        }
        return true;
      },
      TraceFileFailure(u"%s", u"Exception while Caching folder contents!"));
}

bool CCache::FetchServerEntries(TextView folder, DirectoryEntry** entries) {
  if (!server_->GetDirectoryContents(folder, entries)) return false;
  // The root is fetched twice; the second answer counts.
  return !IsRoot(folder) || server_->GetDirectoryContents(folder, entries);
}

bool CCache::FetchSyncEntries(TextView folder, DirectoryEntry** entries,
                              const ListingFetch& fetch) {
  const SyncAccount account = ReadSyncAccount(SyncTrim::kNone);
  const Text path = WithTrailingSlash(folder);
  if (path == kNeverListed) return false;
  if (!JournalWritten(u"Source.txt", path, false)) return false;
  Text failure;
  const UtilityListCall list = GetUtilityLibrary(true, &failure).list;
  if (!list) LogNoEntry(kUtilityList, failure);
  void* array = nullptr;
  if (list && CallUtilityList(list, account, &array) != 0 && array) {
    *entries = static_cast<DirectoryEntry*>(array);
    (*entries)->last_entry = 0;
    return true;
  }
  StoreListing(folder, u"", kSyncOpenFailure, fetch);
  return false;
}

bool CCache::StoreListing(TextView folder, Text text, TextView failure_format,
                          const ListingFetch& fetch) {
  const Text listing_file = names_.GetDirRecordName(folder);
  const ListingLock lock;
  // The time file stays: the listing is newer than it, and an older time only means another fetch.
  if (ReplaceListing(names_, listing_file, fetch.Replay(std::move(text)))) return true;
  trace_log_.WriteTrace(failure_format, listing_file, GetLastErrorText());
  return false;
}

// Records of an array, with the entries of files that wait to be sent.
Text CCache::ListingText(TextView folder, const DirectoryEntry* entries) {
  const std::vector<DirectoryEntry> pending = PendingEntries(folder);
  const auto is_pending = [&](TextView name) {
    return std::any_of(pending.begin(), pending.end(),
                       [&](const DirectoryEntry& entry) { return entry.Name() == name; });
  };
  Text text;
  for (const DirectoryEntry* entry = entries;; ++entry) {
    const TextView name = entry->Name();
    if (!name.empty() && !is_pending(name)) text += FormatRecord(*entry);
    if (entry->last_entry == 1) break;
  }
  for (const DirectoryEntry& entry : pending) text += FormatRecord(entry);
  return text;
}

// Entries, as this side knows them, of the folder's files that are not on the server yet.
std::vector<DirectoryEntry> CCache::PendingEntries(TextView folder) {
  std::vector<DirectoryEntry> entries;
  const Text parent = PathParent(WithTrailingSlash(ReplaceAll(folder, u'\\', u'/')));
  for (const PendingUpload& upload : pending_.List()) {
    // A file that is being written keeps its record until it is complete.
    if (upload.kind == PendingKind::kBeingWritten || PathParent(upload.path) != parent) continue;
    DirectoryEntry entry;
    entry.SetName(PathLeaf(upload.path));
    int64_t time = upload.since.value;
    if (upload.kind != PendingKind::kEmpty) {
      const auto content = FindPath(names_.GetFileRecordName(upload.path));
      if (!content) continue;
      entry.size = content->size;
      time = ToSeconds(content->last_write).value;
    }
    entry.creation_time = time;
    entry.SetModified(time);
    entries.push_back(entry);
  }
  return entries;
}

// A process that ended before it had sent a file left its record as it was before, or none, and the
// listing may be current all the same.
void CCache::ShowPendingEntries(TextView folder, const Text& listing_file) {
  for (const DirectoryEntry& entry : PendingEntries(folder)) {
    const ListingLock lock;
    const auto text = ReadListing(listing_file, Disposition::kOpenExisting);
    DirectoryEntry listed;
    if (!text) return;
    if (FindRecord(*text, entry.Name(), &listed) && listed.size == entry.size) continue;
    const Text record = FormatRecord(entry);
    EditListing(listing_file, {.old_leaf = entry.Name(), .new_leaf = {}, .appended = record});
  }
}

bool CCache::UpdateRootCacheFileList(TextView folder, FileTime time) {
  return Guarded(
      false,
      [&] {
        if (FileExists(names_.GetDirRecordName(folder) + Text(kTimeFileSuffix))) {
          UpdateOwnEntry(folder, time);
        }
        return true;
      },
      [&](const Failure&) {
        trace_log_.WriteTraceText(u"Exception while updating Root cache file list!");
      });
}

void CCache::UpdateOwnEntry(TextView folder, FileTime time) {
  if (folder.empty()) return;
  const Text path = ReplaceAll(folder.substr(0, folder.size() - 1), u'\\', u'/');
  if (path.empty()) return;
  FindData information;
  information.attributes = kAttributeDirectory;
  information.last_write_time[0] = static_cast<uint32_t>(time.value);
  information.last_write_time[1] = static_cast<uint32_t>(time.value >> 32);
  UpdateCacheFileList(path, information);
}

}  // namespace zv
