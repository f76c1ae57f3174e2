// Folders made and entries renamed, on the server and in the cache.
#include "cache/cache.h"
#include "cache/cache_rename.h"
#include "cache/entry_record.h"
#include "cache/listing_file.h"
#include "config/file_names.h"
#include "config/settings.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/format.h"
#include "webdav/http_status.h"

namespace zv {
namespace {

void MoveTimeFile(TextView from, TextView to) {
  MoveToNew(Text(from) + Text(kTimeFileSuffix), Text(to) + Text(kTimeFileSuffix));
}

}  // namespace

bool CCache::CreateCacheDirectory(TextView path) {
  return Guarded(
      false,
      [&] {
        const bool made =
            ReadIsSync() ? MakeFolderOnSyncServer(path) : server_->CreateDirectoryOnServer(path);
        return made && RecordNewFolder(ReplaceAll(path, u'\\', u'/'));
      },
      [&](const Failure&) { trace_log_.WriteTraceText(u"Exception while creating directory"); });
}

bool CCache::MakeFolderOnSyncServer(TextView path) {
  const SyncAccount account = ReadSyncAccount(SyncTrim::kNone);
  if (!JournalWritten(u"createdir_dst.txt", ReplaceAll(path, u'\\', u'/') + u"/", false)) {
    return false;
  }
  CallEntry(&UtilityLibrary::create_folder, kUtilityCreateFolder, account);
  return true;
}

bool CCache::RecordNewFolder(TextView path) {
  const Text parent = PathParent(path);
  const Text listing_file = names_.GetDirRecordName(parent);
  const int64_t now = ToSeconds(SystemTime()).value;
  const Text record = FormatRecord(
      RecordFormat::kShortSize,
      {.name = PathLeaf(path), .directory_flag = 1, .creation_time = now, .change_time = now});
  const ListingLock lock;
  DirectoryEntry known;
  // The server counts a folder that was there already as made; it is listed once.
  const auto text = ReadListing(listing_file, Disposition::kOpenAlways);
  const bool listed = text && FindRecord(*text, path, &known);
  const bool recorded =
      listed ? EditListing(listing_file,
                           {.old_leaf = PathLeaf(path), .new_leaf = {}, .appended = record})
                   .has_value()
             : AppendRecord(listing_file, PathLeaf(path), record);
  if (recorded) return true;
  trace_log_.WriteTrace(u"Unable to open file %s for writing cache details, Reason: %s", parent,
                        GetLastErrorText());
  return false;
}

uint32_t CCache::RenameCachedResource(TextView old_path, TextView new_path, bool tell_server) {
  return Guarded(
      kRenameFailed,
      [&] {
        Rename rename{.old_path = old_path, .new_path = new_path, .tell_server = tell_server};
        rename.result = ReadIsSync() ? SyncRename(rename) : RenameOnServer(rename);
        if (rename.ended || StaysForUnsentContent(rename)) return rename.result;
        RenameRecord(rename);
        if (!MoveFiles(rename) || !pending_.Rename(old_path, new_path)) {
          trace_log_.WriteTrace(u"Unable to rename the pending upload of %s, Reason: %s", old_path,
                                GetLastErrorText());
        }
        return rename.result;
      },
      [&](const Failure&) { trace_log_.WriteTraceText(u"Exception while renaming resource"); });
}

uint32_t CCache::RenameOnServer(Rename& rename) {
  if (server_->RenameResource(rename.old_path, rename.new_path)) return kRenameDone;
  const uint32_t status = server_->status_code();
  // What never reached the server is renamed here alone, and sent under its new name.
  if (status == kStatusNotFound && IsPending(rename.old_path)) return kRenameDone;
  rename.ended = true;
  return status == kStatusPreconditionFailed ? kRenameTargetExists : kRenameFailed;
}

uint32_t CCache::SyncRename(Rename& rename) {
  if (!rename.tell_server) return kRenameDone;
  const SyncAccount account = ReadSyncAccount(SyncTrim::kNone);
  if (!JournalWritten(u"Rename_src.txt", rename.old_path, false) ||
      !JournalWritten(u"Rename_dst.txt", rename.new_path, false)) {
    rename.ended = true;
    return kRenameFailed;
  }
  return CallEntry(&UtilityLibrary::rename, kUtilityRename, account) ? kRenameDone : kRenameFailed;
}

// What the server did not rename keeps out of the way of content that only this machine has, and
// such content beneath a folder stays with its folder. An unsent file itself gets its new name.
bool CCache::StaysForUnsentContent(const Rename& rename) const {
  if (rename.result == kRenameDone) return false;
  const bool holds_unsent =
      pending_.ContainsTree(rename.old_path) && !pending_.Contains(rename.old_path);
  return holds_unsent || pending_.ContainsTree(rename.new_path);
}

void CCache::RenameRecord(Rename& rename) {
  const TextView old_parent = FolderPart(rename.old_path);
  const TextView new_parent = FolderPart(rename.new_path);
  const Text old_listing = names_.GetDirRecordName(old_parent);
  const TextView new_leaf = PathLeaf(rename.new_path);
  const bool in_place = old_parent == new_parent;
  current_entry_ = {};
  const ListingLock lock;
  DirectoryEntry entry;
  const auto text = ReadListing(old_listing, Disposition::kOpenAlways);
  if (text && FindRecord(*text, rename.old_path, &entry)) {
    rename.known = entry.directory_flag != 0 ? Rename::Known::kFolder : Rename::Known::kFile;
    // Whatever becomes of the old record, the new one is not an empty one.
    current_entry_ = CurrentEntry::Of(entry, new_leaf);
  }
  ParseDirContentsFromFile(old_listing, rename.old_path, rename.new_path);
  if (in_place || rename.known == Rename::Known::kNothing) return;
  const Text new_listing = names_.GetDirRecordName(new_parent);
  if (FileExists(new_listing)) {
    EditListing(new_listing, {.old_leaf = new_leaf, .new_leaf = {}, .appended = {}});
  }
  AddFileEntryToCacheFile(rename.new_path);
}

// False, with LastError(), when it cannot be told what lies beneath, or not be listed what will be
// moved: contents then stay where the list of pending uploads has them.
bool CCache::MoveFiles(Rename& rename) {
  // A download of the new path that ends meanwhile takes its place before or after this.
  const ListingLock lock;
  const bool done = rename.result == kRenameDone;
  if (done) pending_.RemoveTree(rename.new_path, rename.old_path);
  if (!FindSubtrees(rename)) return false;
  if (done) ClearStaleTarget(rename);
  if (!pending_.AddRenamed(rename.old_path, rename.new_path)) return false;
  MoveContents(rename);
  return true;
}

// False, with LastError(), when that cannot be told.
bool CCache::FindSubtrees(Rename& rename) {
  if (rename.known == Rename::Known::kFile) return true;
  try {
    rename.old_files = SubtreeFiles(names_, rename.old_path);
    rename.new_files = SubtreeFiles(names_, rename.new_path);
    return true;
  } catch (const Error& error) {
    SetLastError(error.code());
    return false;
  }
}

// A move never replaces anything on the server, so what is cached under the new name is stale.
void CCache::ClearStaleTarget(const Rename& rename) {
  const Text content = names_.GetFileRecordName(rename.new_path);
  // Two names that differ in case only, or "/a#b" and "/a/b", are one in the cache.
  if (EqualsNoCase(names_.GetFileRecordName(rename.old_path), content)) return;
  const Text listing = names_.GetDirRecordName(rename.new_path);
  std::vector<Text> stale = {content, listing, content + Text(kTimeFileSuffix),
                             listing + Text(kTimeFileSuffix)};
  if (rename.known != Rename::Known::kFile) {
    stale = rename.new_files;
    // Of "/a" renamed to "/a#b", what lies beneath "/a/b" looks like the target's.
    const std::vector<Text>& moved = rename.old_files;
    std::erase_if(stale, [&](const Text& file) { return std::ranges::count(moved, file) > 0; });
  }
  for (const Text& file : stale) RemoveFile(file);
}

void CCache::MoveContents(const Rename& rename) {
  const Text old_content = names_.GetFileRecordName(rename.old_path);
  const Text new_content = names_.GetFileRecordName(rename.new_path);
  MoveTimeFile(old_content, new_content);
  if (is_sync() && TurnsTemporaryIntoReal(rename.old_path, rename.new_path)) {
    MoveSyncedContent(rename);
  }
  MoveTimeFile(names_.GetDirRecordName(rename.old_path), names_.GetDirRecordName(rename.new_path));
  if (MoveToNew(old_content, new_content) || rename.known == Rename::Known::kFile) return;
  std::vector<Text> files = rename.old_files;
  // None moves to where another one still is.
  std::ranges::sort(files, [](TextView a, TextView b) { return a.size() > b.size(); });
  for (const Text& file : files) {
    MoveToNew(file, SubtreeFileAfterRename(names_, file, rename.old_path, rename.new_path));
  }
}

// An editor has saved to a temporary file and gives it the real one's name: the sync client gets a
// copy.
void CCache::MoveSyncedContent(const Rename& rename) {
  const Text source = names_.GetFileRecordName(rename.old_path);
  const Text target = names_.GetFileRecordName(rename.new_path);
  const TextView new_path = rename.new_path;
  const Text staging = StagingFolder(ReadSettingOrThrow(kConnectionParameters, u"UserName"));
  const Text staged_old = staging + Text(rename.old_path);
  const Text staged_new =
      staging + Text(new_path.substr(new_path.size() - PathLeaf(new_path).size() - 1));
  if (!FileExists(source)) trace_log_.WriteTrace(u"%s file not found.", source);
  if (!FileExists(staged_old)) trace_log_.WriteTrace(u"%s file not found.", staged_old);
  trace_log_.WriteTrace(u"Moving file %s to %s.", source, target);
  if (!MoveOver(source, target)) {
    trace_log_.WriteTrace(u"Error moving file %s to %s. ErrorCode: %d", source, target,
                          LastError());
  }
  if (!NameIsHandedOver(new_path)) return;
  MakeFolders(staging);
  if (!CopyOver(target, staged_new)) {
    trace_log_.WriteTrace(u"Error copying file %s to %s. ErrorCode: %d", target, staged_new,
                          LastError());
  }
}

}  // namespace zv
