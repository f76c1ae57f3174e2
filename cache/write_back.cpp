// Written files on their way to the server.
#include "cache/cache.h"
#include "cache/entry_record.h"
#include "cache/listing_file.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/format.h"

namespace zv {
namespace {

constexpr int kEmptyFileAttempts = 5;
constexpr TextView kTestFile = u"TESTDIR.TMP";
constexpr TextView kNotTaken = u"The utility library did not take the file.";
constexpr TextView kWriteFailed = u"Exception while transferring cached file!";

// Up to and including the last "/".
Text FolderWithSlash(TextView path) { return Text(path.substr(0, path.rfind(u'/') + 1)); }

int64_t NowInSeconds() { return ToSeconds(SystemTime()).value; }

}  // namespace

bool CCache::TransferCachedFile(TextView path, bool send) {
  return Guarded(
      false,
      [&] {
        const Text server_path = ReplaceAll(path, u'\\', u'/');
        const Text content_file = names_.GetFileRecordName(server_path);
        // A folder that was renamed as a save is ("notes" to "notes.v2") keeps its record.
        const bool has_content = !IsAbsent(content_file);
        if (!has_content && IsListedFolder(server_path)) return true;
        if (!has_content) DropWithoutContent(server_path);
        bool sent = true;
        bool stored = false;
        if (!ReadIsSync()) {
          sent = SendContent(server_path, content_file, has_content);
          stored = server_->last_transfer_stored();
        } else if (send) {
          if (!SyncUpload(server_path, content_file)) return false;
        } else if (has_content) {
          sent = SetPending(server_path, PendingKind::kCacheOnly, u"");
        }
        const bool recorded = RecordContent(server_path, content_file);
        // Not before: a kill in between would leave the old record standing for good.
        if (stored) SetStored(server_path);
        return recorded && sent;
      },
      LogKnownFailure(kWriteFailed));
}

// What is listed with content that is not there would wait for ever.
void CCache::DropWithoutContent(TextView path) {
  const auto pending = pending_.Find(path);
  if (!pending) return;
  if (pending->kind != PendingKind::kContent && pending->kind != PendingKind::kBeingWritten) return;
  trace_log_.WriteTrace(u"The content of %s is gone, and its upload with it.", path);
  SetStored(path);
}

bool CCache::SendContent(TextView path, const Text& content_file, bool has_content) {
  unsent_path_.clear();
  if (!has_content) return server_->LocalFileTransfer(content_file, path);
  SetPending(path, PendingKind::kContent, u"");
  const bool sent = server_->LocalFileTransfer(content_file, path);
  if (!server_->last_transfer_stored()) {
    SetPending(path, PendingKind::kContent, server_->last_transfer_failure());
  }
  return sent;
}

bool CCache::SyncUpload(TextView path, const Text& content_file) {
  unsent_path_.clear();
  const SyncAccount account = ReadSyncAccount(SyncTrim::kAll);
  if (!IsAbsent(content_file)) SetPending(path, PendingKind::kContent, u"");
  const auto taken = HandOver(path, account, &content_file);
  if (taken.value_or(false)) {
    SetStored(path);
    return true;
  }
  if (taken && IsPending(path)) SetPending(path, PendingKind::kContent, kNotTaken);
  return false;
}

std::optional<bool> CCache::HandOver(TextView path, const SyncAccount& account,
                                     const Text* content_file) {
  if (!NameIsHandedOver(path)) return std::nullopt;
  if (!JournalWritten(u"Upload_dst.txt", FolderWithSlash(path), true)) return std::nullopt;
  const Text staging = StagingFolder(account.user_name);
  const Text staged = Format(u"%s\\%s", staging, PathLeaf(path));
  MakeFolders(staging);
  const bool is_staged =
      content_file ? StageContent(path, *content_file, staged) : StageNothing(staged);
  if (!is_staged) return std::nullopt;
  if (!JournalWritten(u"Upload_src.txt", u"F_" + staged, true)) return std::nullopt;
  return CallEntry(&UtilityLibrary::upload, kUtilityUpload, account) != 0;
}

// False when there is something to be sent that could not be copied. What lies under the copy's
// name from before is never sent in its place: it may be another folder's file.
bool CCache::StageContent(TextView path, const Text& content_file, const Text& staged) {
  if (CopyOver(content_file, staged)) return true;
  const uint32_t code = LastError();
  const Text reason = GetLastErrorText();
  trace_log_.WriteLog(LogLevel::kError, u"Error copying file %s to %s. ErrorCode: %d", content_file,
                      staged, code);
  if (IsAbsent(content_file)) return RemoveFile(staged) || IsAbsent(staged);
  SetPending(path, PendingKind::kContent, reason);
  return false;
}

bool CCache::StageNothing(const Text& staged) {
  if (File::Open(staged, Access::kWrite, Disposition::kCreateAlways)) return true;
  LogNotOpened(staged, true);
  return false;
}

bool CCache::IsListedFolder(TextView path) {
  const ListingLock lock;
  const auto text =
      ReadListing(names_.GetDirRecordName(PathParent(path)), Disposition::kOpenExisting);
  DirectoryEntry entry;
  return text && FindRecord(*text, path, &entry) && entry.directory_flag != 0;
}

// The listing's record of a file whose content is cached.
bool CCache::RecordContent(TextView path, const Text& content_file) {
  const TextView leaf = PathLeaf(path);
  const Text listing_file = names_.GetDirRecordName(PathParent(path));
  const auto content = FindPath(content_file);
  if (!content) {
    const Text reason = GetLastErrorText();
    // What the system does not tell of is still there for all that is known.
    if (IsAbsent(content_file)) {
      EditListing(listing_file, {.old_leaf = leaf, .new_leaf = {}, .appended = {}});
    }
    trace_log_.WriteLog(LogLevel::kError, u"Unable to find file %s, Reason: %s", content_file,
                        reason);
    return false;
  }
  const int64_t now = NowInSeconds();
  const int32_t directory_flag = content->is_folder ? 1 : 0;
  const Text record = FormatRecord(RecordFormat::kAppended, {.name = leaf,
                                                             .directory_flag = directory_flag,
                                                             .size = content->size,
                                                             .attributes = directory_flag,
                                                             .creation_time = now,
                                                             .change_time = now});
  if (EditListing(listing_file, {.old_leaf = leaf, .new_leaf = {}, .appended = record})) {
    return true;
  }
  trace_log_.WriteLog(LogLevel::kError,
                      u"Unable to open file %s for writing cache details, Reason: %s", listing_file,
                      GetLastErrorText());
  return false;
}

bool CCache::BackupZeroFile(TransferRequest& request, bool send) {
  return Guarded(
      false,
      [&] {
        const SyncAccount account = ReadSyncAccount(SyncTrim::kAll);
        request.path = ReplaceAll(request.path, u'\\', u'/');
        bool sent = true;
        if (!ReadIsSync()) {
          sent = SendEmptyFile(request);
        } else if (send) {
          if (!SyncUploadEmpty(request.path, account)) return false;
        } else {
          sent = SetPending(request.path, PendingKind::kCacheOnly, u"");
        }
        return RecordEmptyFile(request.path) && sent;
      },
      LogKnownFailure(kWriteFailed));
}

bool CCache::SendEmptyFile(TransferRequest& request) {
  SetPending(request.path, PendingKind::kEmpty, u"");
  for (int attempt = 0; attempt < kEmptyFileAttempts; ++attempt) {
    if (!server_->InitiateUpload(request)) continue;
    if (!server_->EndUpload(request)) continue;
    SetStored(request.path);
    return true;
  }
  SetPending(request.path, PendingKind::kEmpty, server_->GetErrorMessage());
  return false;
}

bool CCache::SyncUploadEmpty(TextView path, const SyncAccount& account) {
  const auto taken = HandOver(path, account, nullptr);
  if (!taken) return false;
  if (*taken) {
    SetStored(path);
  } else {
    SetPending(path, PendingKind::kEmpty, kNotTaken);
  }
  return true;
}

bool CCache::RecordEmptyFile(TextView path) {
  const TextView leaf = PathLeaf(path);
  // The probe's contents go with everything that its name could stand for. Its own is kept for
  // nobody, even while the empty file waits to be sent.
  if (leaf == kTestFile) {
    ClearCacheForPath(path, ClearKind::kFolder);
    RemoveFile(names_.GetFileRecordName(path));
  }
  const int64_t now = NowInSeconds();
  const Text listing_file = names_.GetDirRecordName(PathParent(path));
  const Text record = FormatRecord(RecordFormat::kShortSize,
                                   {.name = leaf, .creation_time = now, .change_time = now});
  if (EditListing(listing_file, {.old_leaf = leaf, .new_leaf = {}, .appended = record})) {
    return true;
  }
  trace_log_.WriteLog(LogLevel::kError,
                      u"Unable to open file %s for Backup zero file cache details, Reason: %s",
                      listing_file, GetLastErrorText());
  return false;
}

bool CCache::SetPending(TextView path, PendingKind kind, TextView reason) {
  if (pending_.Add(path, kind, reason)) return true;
  trace_log_.WriteTrace(u"Unable to note the pending upload of %s, Reason: %s", path,
                        GetLastErrorText());
  return false;
}

void CCache::SetStored(TextView path) {
  if (pending_.Remove(path)) return;
  trace_log_.WriteTrace(u"Unable to take %s off the pending uploads, Reason: %s", path,
                        GetLastErrorText());
}

}  // namespace zv
