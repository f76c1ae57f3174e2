// The Intelligent Cache: listings, times and whole file contents of one account, brought up to date
// from the server.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "cache/cache_names.h"
#include "cache/find_data.h"
#include "cache/listing_change.h"
#include "cache/pending_uploads.h"
#include "cache/record_list.h"
#include "cache/sync_account.h"
#include "config/guard.h"
#include "config/log.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "platform/text.h"
#include "platform/utility_library.h"
#include "upload/backup_dav.h"
#include "webdav/directory_entry.h"
#include "webdav/transfer_request.h"

namespace zv {

// What RenameCachedResource answers: the driver's own status words.
inline constexpr uint32_t kRenameDone = 100;
inline constexpr uint32_t kRenameFailed = 101;
inline constexpr uint32_t kRenameTargetExists = 102;

// What ClearCacheForPath clears.
enum class ClearKind : uint32_t { kFile = 0, kFolder = 1, kFolderTree = 2 };

// Never shared between threads: each polling thread and each export call makes its own. Two objects
// work on the same files. No operation throws; failures are false or 0 with a line in
// "CacheDebug.txt". Paths are server paths ("/Docs/a.txt") unless said otherwise. send (or
// tell_server) matters on a sync account only: false makes the change in the cache alone. On an
// ordinary account the server is always told.
class CCache {
 public:
  // Makes the cache folder when it is missing. Throws where the settings cannot be read.
  CCache();
  virtual ~CCache();
  CCache(const CCache&) = delete;
  CCache& operator=(const CCache&) = delete;

  // --- listings
  // Entry number index (from 1) of a folder, refreshed from the server when stale.
  bool GetCachedDirContents(TextView folder, int32_t index, DirectoryEntry* reply);
  // Fetches a folder and rewrites its listing; entries (optional) receives the producer's own
  // array.
  bool CacheFolderContents(TextView folder, DirectoryEntry** entries = nullptr);
  // Loads a listing whole, for ParseSingleFromFile; a missing one is made, empty. False when it
  // holds no line.
  bool ParseFileListFromCache(TextView listing_file);
  // Entry number index (from 1). Loads the listing when another one is loaded, or for index 1.
  bool ParseSingleFromFile(TextView listing_file, int32_t index, DirectoryEntry* reply);
  // The record of the path's name, read from the file; entry then carries the whole path.
  bool ParseSingleResource(TextView listing_file, TextView path, DirectoryEntry* entry);
  // The same of the listing of the path's folder, which is fetched when it is missing.
  bool GetCachedResourceDetails(TextView path, DirectoryEntry* entry);
  // Drops old_path's record (empty new_path), renames it in place, or moves it into the current
  // entry. True, and found set, when the listing held any record.
  bool ParseDirContentsFromFile(TextView listing_file, TextView old_path, TextView new_path,
                                bool* found = nullptr);
  // Writes the record of the path anew into its folder's listing, which must be there unless it is
  // the root's; a folder without a listing of its own gets one.
  bool UpdateCacheFileList(TextView path, const FindData& information);
  // Gives a folder whose listing is timed this time in its parent's listing. folder ends in "/".
  bool UpdateRootCacheFileList(TextView folder, FileTime time);
  // Adds the current entry's record to the listing of the path's folder.
  bool AddFileEntryToCacheFile(TextView path);
  // Forgets which folder was checked last and which listing is loaded, so that the next walk starts
  // afresh.
  void ForgetFolderState();
  // Total and used bytes of the account.
  bool GetUsedSpaceDetails(int64_t* quota, int64_t* used);

  // --- contents
  // Reads a range from the content file, which is fetched first when it is missing; the beginning
  // of a file that is not cached may come straight from the server.
  bool ReadCachedFile(TransferRequest& request);
  // Fetches a file whole into its content file.
  bool CacheRestoreFile(TextView path);
  // Reads a range from the server, past the cache.
  bool FillDataFromServer(TransferRequest& request);
  // Stores a written range in the content file. Sends nothing.
  bool CacheFile(const TransferRequest& request);
  // Sends a content file and writes its record. Whether the server really holds the file afterwards
  // is told by the list of pending uploads.
  bool TransferCachedFile(TextView path, bool send);
  // Makes a file of zero bytes, on the server and in its folder's listing.
  bool BackupZeroFile(TransferRequest& request, bool send);

  // --- changes
  // Makes a folder, on the server (a sync account's is always told) and in its parent's listing.
  bool CreateCacheDirectory(TextView path);
  // kRename...
  uint32_t RenameCachedResource(TextView old_path, TextView new_path, bool tell_server);
  // On the server, then in the cache: contents, times, record. A sync account tells a folder by its
  // trailing separator.
  bool DeleteCachedResource(TextView path, bool send);
  // One cache file with its time file, or all of them when the name is empty. The only copy of a
  // file that waits to be sent stays.
  bool ClearCache(TextView cache_file);
  // The cache files of a file, or of a folder and beneath it.
  bool ClearCacheForPath(TextView path, ClearKind kind);
  // Path with a drive letter and backslashes. 1, or 0 after an exception.
  uint32_t CheckFileModified(TextView drive_path);
  // 1 when the pending-delete journal was processed. What waits to be sent stays.
  uint32_t ApplyPendingDeletes();

  // --- times: as in cache/time_file.h, with the failures in the log
  bool SetFileTimeEntry(TextView path, FileTime time);
  bool GetFileTimeEntry(TextView path, FileTime* time);
  uint32_t CompareFileTime(FileTime first, FileTime second);

  const CacheNames& names() const { return names_; }
  PendingUploads& pending() { return pending_; }

 private:
  // The entry held between operations: taken out of one listing, written into another.
  struct CurrentEntry {
    // What a listing told of an entry, under this name.
    static CurrentEntry Of(const DirectoryEntry& listed, TextView name);

    int32_t directory_flag = 0;
    int32_t attributes = 0;
    int64_t size = 0;
    int64_t creation_time = 0;
    int64_t change_time = 0;
    Text name;
  };
  struct Rename;
  using UtilityMember = UtilityCall UtilityLibrary::*;

  // --- failures: each gives a handler that writes one line
  // A file's failure by the first text, which may print its words; any other by the second.
  auto TraceFileFailure(TextView file_format, TextView other_format) {
    return [=, this](const Failure& failure) {
      const bool is_file = failure.kind == Failure::Kind::kFile;
      trace_log_.WriteTrace(is_file ? file_format : other_format, failure.text);
    };
  }
  // A failure of files, the internet or the system by its words, on an error line; lack of memory
  // and anything else by the text, which may print the words.
  auto LogKnownFailure(TextView other_format) {
    return [=, this](const Failure& failure) {
      trace_log_.WriteLog(LogLevel::kError, HasWords(failure) ? u"%s" : other_format, failure.text);
    };
  }
  static bool HasWords(const Failure& failure) {
    return failure.is_known() && failure.kind != Failure::Kind::kMemory;
  }

  bool is_sync() const;
  // Reads the account type anew. Where it cannot be read it is as it was; throws when nothing is
  // known of it.
  bool ReadIsSync();

  // --- listings
  bool RefreshListing(TextView folder, const Text& listing_file, int32_t index);
  bool FetchMissingListing(TextView folder);
  bool FetchStaleListing(TextView folder);
  bool FetchServerEntries(TextView folder, DirectoryEntry** entries);
  bool FetchSyncEntries(TextView folder, DirectoryEntry** entries, const ListingFetch& fetch);
  bool StoreListing(TextView folder, Text text, TextView failure_format, const ListingFetch& fetch);
  Text ListingText(TextView folder, const DirectoryEntry* entries);
  std::vector<DirectoryEntry> PendingEntries(TextView folder);
  void ShowPendingEntries(TextView folder, const Text& listing_file);
  void UpdateOwnEntry(TextView folder, FileTime time);
  // Changes one listing in one step. nullopt, with a line in the log, when it cannot be opened.
  bool StoreChanged(TextView listing_file, File file, TextView before, TextView after);
  std::optional<ListingChanged> EditListing(TextView listing_file, const ListingChange& change);
  // Adds the record of a name that the listing does not hold; false, with LastError().
  bool AppendRecord(TextView listing_file, TextView name, TextView record);
  Text CurrentEntryRecord() const;
  // By LastError().
  void LogEntryNotAdded(TextView listing_file);
  bool ReadFileList(TextView listing_file);
  bool FindRecord(TextView text, TextView path, DirectoryEntry* entry);

  // --- contents
  File OpenContent(TextView path, TextView content_file);
  bool ReadFromContent(TransferRequest& request, File& file, const Text& content_file);
  bool ReadFromServer(TransferRequest& request);
  bool DownloadContent(TextView path, const Text& content_file);
  bool SyncDownload(TextView path, const Text& content_file);
  bool NoteBeingWritten(const TransferRequest& block);
  void DropWithoutContent(TextView path);
  bool SendContent(TextView path, const Text& content_file, bool has_content);
  bool SyncUpload(TextView path, const Text& content_file);
  // Copies a file (null: makes an empty one) to where the utility library takes it, and calls it:
  // whether it took the file; nullopt when it came to no call.
  std::optional<bool> HandOver(TextView path, const SyncAccount& account, const Text* content_file);
  bool StageContent(TextView path, const Text& content_file, const Text& staged);
  bool StageNothing(const Text& staged);
  bool IsListedFolder(TextView path);
  bool RecordContent(TextView path, const Text& content_file);
  bool SendEmptyFile(TransferRequest& request);
  bool RecordEmptyFile(TextView path);
  bool SyncUploadEmpty(TextView path, const SyncAccount& account);
  bool SetPending(TextView path, PendingKind kind, TextView reason);
  void SetStored(TextView path);

  // --- changes
  bool MakeFolderOnSyncServer(TextView path);
  bool RecordNewFolder(TextView path);
  uint32_t RenameOnServer(Rename& rename);
  uint32_t SyncRename(Rename& rename);
  bool StaysForUnsentContent(const Rename& rename) const;
  void RenameRecord(Rename& rename);
  bool MoveFiles(Rename& rename);
  bool FindSubtrees(Rename& rename);
  void ClearStaleTarget(const Rename& rename);
  void MoveSyncedContent(const Rename& rename);
  void MoveContents(const Rename& rename);
  bool DeleteOnServer(TextView path, bool send);
  bool SyncDelete(TextView path);
  void CleanAfterDelete(TextView path);
  void ForgetResource(TextView path, TextView staging_prefix);
  void ForgetJournalled(TextView path, TextView staging_prefix);
  // Contents of a folder and beneath it.
  void ClearFolder(TextView path, bool with_listings);
  void ClearWholeCache();
  // Content files that hold the only copy of a file.
  std::vector<Text> KeptContents();
  bool IsPending(TextView path) { return pending_.Contains(path); }
  void RefreshFileRecord(TextView path, int64_t content_length);
  std::optional<DirectoryEntry> ListedEntry(TextView listing_file, TextView path);

  // --- sync accounts
  // False after the line "Unable to create/open file".
  bool JournalWritten(TextView journal, TextView line, bool error_line);
  // False, with a line in the log, for a name that is one of the cache's own: copies and downloads
  // go by the file's own name, and may lie in the cache folder.
  bool NameIsHandedOver(TextView path);
  void LogNotOpened(TextView file, bool error_line);
  // 0 with a line in the log when the library, or this entry point of it, is missing.
  int32_t CallEntry(UtilityMember member, const UtilityEntry& entry, const SyncAccount& account);
  void LogNoEntry(const UtilityEntry& entry, const Text& failure);

  Text last_checked_folder_;
  std::optional<Text> account_type_;
  bool cache_enabled_ = false;
  std::unique_ptr<CBackupDAV> server_;
  CLogEvent trace_log_;
  CacheNames names_;
  PendingUploads pending_;
  CurrentEntry current_entry_;
  RecordList file_list_;
  Text file_list_source_;
  Text unsent_path_;  // its content has begun to change, and that was noted
};

}  // namespace zv
