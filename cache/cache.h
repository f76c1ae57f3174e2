// The Intelligent Cache: listings, times and whole file contents of one account, brought up to date
// from the server.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "cache/cache_names.h"
#include "cache/find_data.h"
#include "config/log.h"
#include "platform/clock.h"
#include "platform/text.h"
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

// -1: no extension; 1: temporary; 2: an office lock file; 0: any other. Path with backslashes.
int ClassifyFileName(TextView path);

// Never shared between threads: each polling thread and each export call makes its own. Two objects
// work on the same files without locks. No operation throws; failures are false or 0 with a line in
// "CacheDebug.txt". Paths are server paths ("/Docs/a.txt") unless said otherwise.
class CCache {
 public:
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
  bool ParseFileListFromCache(TextView listing_file);
  bool ParseSingleFromFile(TextView listing_file, int32_t index, DirectoryEntry* reply);
  bool ParseSingleResource(TextView listing_file, TextView path, DirectoryEntry* entry);
  bool GetCachedResourceDetails(TextView path, DirectoryEntry* entry);
  // Drops old_path's record (empty new_path), renames it in place, or moves it into the current
  // entry.
  bool ParseDirContentsFromFile(TextView listing_file, TextView old_path, TextView new_path,
                                bool* found = nullptr);
  bool UpdateCacheFileList(TextView path, const FindData& information);
  bool UpdateRootCacheFileList(TextView folder, FileTime time);
  bool AddFileEntryToCacheFile(TextView path);
  // Forgets which folder was checked last and which listing is loaded, so that the next walk starts
  // afresh.
  void ForgetFolderState();
  // Used and total bytes of the account.
  bool GetUsedSpaceDetails(int64_t* quota, int64_t* used);

  // --- contents
  bool ReadCachedFile(TransferRequest& request);
  bool CacheRestoreFile(TextView path);
  bool FillDataFromServer(TransferRequest& request);
  bool CacheFile(const TransferRequest& request);
  bool TransferCachedFile(TextView path, bool send);
  bool BackupZeroFile(TransferRequest& request, bool send);

  // --- changes
  bool CreateCacheDirectory(TextView path);
  // kRename...; tell_server matters for sync accounts only.
  uint32_t RenameCachedResource(TextView old_path, TextView new_path, bool tell_server);
  bool DeleteCachedResource(TextView path, bool send);
  // One cache file with its time file, or all of them when the name is empty.
  bool ClearCache(TextView cache_file);
  bool ClearCacheForPath(TextView path, ClearKind kind);
  // Path with a drive letter and backslashes. 1, or 0 after an exception.
  uint32_t CheckFileModified(TextView drive_path);
  // 1 when the pending-delete journal was processed.
  uint32_t ApplyPendingDeletes();

  // --- times
  bool SetFileTimeEntry(TextView path, FileTime time);
  bool GetFileTimeEntry(TextView path, FileTime* time);
  uint32_t CompareFileTime(FileTime first, FileTime second);

  const CacheNames& names() const { return names_; }
  CLogEvent& trace_log() { return trace_log_; }

 private:
  // The entry held between operations: taken out of one listing, written into another.
  struct CurrentEntry {
    int32_t directory_flag = 0;
    int32_t attributes = 0;
    int64_t size = 0;
    int64_t creation_time = 0;
    int64_t change_time = 0;
    Text name;
  };

  Text last_checked_folder_;
  Text account_type_;
  bool cache_enabled_ = false;
  std::unique_ptr<CBackupDAV> server_;
  CLogEvent trace_log_;
  CacheNames names_;
  CurrentEntry current_entry_;
  std::vector<DirectoryEntry> file_list_;
  Text file_list_source_;
};

}  // namespace zv
