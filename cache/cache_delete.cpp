// Entries deleted on the server and in the cache, and cache files cleared.
#include <algorithm>
#include <exception>

#include "cache/cache.h"
#include "config/settings.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/format.h"
#include "webdav/http_status.h"

namespace zv {
namespace {

constexpr TextView kDeleteJournal = u"Delete_src.txt";
constexpr size_t kJournalLineUnits = 256;

// The next line, without its line end; of a longer one than the journal allows, its beginning
// alone.
TextView TakeJournalLine(TextView* rest) {
  const size_t feed = rest->find(u'\n');
  const size_t whole = feed == TextView::npos ? rest->size() : feed + 1;
  TextView line = rest->substr(0, std::min(whole, kJournalLineUnits));
  rest->remove_prefix(whole);
  while (line.ends_with(u'\n') || line.ends_with(u'\r')) line.remove_suffix(1);
  return line;
}

void RemoveIfThere(TextView file) {
  if (RemoveFile(file)) return;
  const uint32_t code = LastError();
  if (IsAbsent(file)) return;
  SetLastError(code);
  ThrowLastError(ErrorKind::kFile);
}

// The file with its time file, unless it is among those to be kept.
void RemoveWithTime(TextView cache_file, const std::vector<Text>& kept) {
  if (std::find(kept.begin(), kept.end(), cache_file) != kept.end()) return;
  RemoveIfThere(cache_file);
  if (!cache_file.ends_with(kTimeFileSuffix)) {
    RemoveIfThere(Text(cache_file) + Text(kTimeFileSuffix));
  }
}

}  // namespace

bool CCache::DeleteCachedResource(TextView path, bool send) {
  return Guarded(
      false,
      [&] {
        ReadIsSync();
        if (!DeleteOnServer(path, send)) return false;
        CleanAfterDelete(path);
        // What still waits with its content comes back.
        const Text stem = ReplaceAll(WithoutTrailingSlash(path), u'\\', u'/');
        return !IsPending(stem) || IsAbsent(names_.GetFileRecordName(stem));
      },
      LogKnownFailure(u"Exception while deleting resource"));
}

bool CCache::DeleteOnServer(TextView path, bool send) {
  if (is_sync()) {
    if (path.find_first_not_of(u"/\\") == TextView::npos) {
      trace_log_.WriteTraceText(u"We cannot delete root");
      return false;
    }
    return !send || SyncDelete(path);
  }
  if (server_->DeleteResource(path)) return true;
  // A file whose upload never succeeded is not there to be deleted.
  return server_->status_code() == kStatusNotFound && IsPending(WithoutTrailingSlash(path));
}

bool CCache::SyncDelete(TextView path) {
  const SyncAccount account = ReadSyncAccount(SyncTrim::kAll);
  const Text server_path = ReplaceAll(path, u'\\', u'/');
  const TextView mark = server_path.ends_with(u'/') ? u"D_" : u"F_";
  const Text line = Text(mark) + Text(WithoutTrailingSlash(server_path));
  if (!JournalWritten(kDeleteJournal, line, true)) return false;
  if (CallEntry(&UtilityLibrary::remove, kUtilityDelete, account)) return true;
  // What was never handed over is not the library's to delete.
  const auto list = pending_.List();
  return std::any_of(list.begin(), list.end(), [&](const PendingUpload& upload) {
    return upload.path == server_path && upload.kind == PendingKind::kCacheOnly;
  });
}

void CCache::CleanAfterDelete(TextView path) {
  const Text server_path = ReplaceAll(path, u'\\', u'/');
  const TextView stem = WithoutTrailingSlash(server_path);
  // First: what is still listed without its content is never sent. On a full disk its going also
  // makes room for the list.
  RemoveFile(names_.GetFileRecordName(stem));
  if (!pending_.RemoveTree(stem)) {
    trace_log_.WriteTrace(u"Unable to take %s off the pending uploads, Reason: %s", stem,
                          GetLastErrorText());
  }
  // A folder's path has no name after its last "/", and so no staged copy.
  if (is_sync() && !server_path.ends_with(u'/')) {
    const Text user_name = Trim(ReadSettingOrThrow(kConnectionParameters, u"UserName"));
    ForgetResource(stem, StagingPrefix(user_name));
  } else {
    ForgetResource(stem, {});
  }
}

// Drops a path's cache files, its staged copy (unless the prefix is empty) and its listing record.
void CCache::ForgetResource(TextView path, TextView staging_prefix) {
  DirectoryEntry entry;
  GetCachedResourceDetails(path, &entry);
  ClearCacheForPath(path, entry.directory_flag != 0 ? ClearKind::kFolder : ClearKind::kFile);
  const TextView leaf = PathLeaf(path);
  if (!staging_prefix.empty() && !leaf.empty()) RemoveFile(Text(staging_prefix) + Text(leaf));
  ParseDirContentsFromFile(names_.GetDirRecordName(PathParent(path)), leaf, u"");
}

// The journal may be older than what lies in the cache: a file that was written since then, and
// waits to be sent, stays with all that shows it.
void CCache::ForgetJournalled(TextView path, TextView staging_prefix) {
  const TextView stem = WithoutTrailingSlash(path);
  if (stem.empty() || IsPending(stem)) return;
  if (pending_.ContainsTree(stem)) {
    ClearFolder(stem, false);
    return;
  }
  // As after a delete that was asked for.
  ForgetResource(stem, path.ends_with(u'/') ? TextView() : staging_prefix);
}

uint32_t CCache::ApplyPendingDeletes() {
  return Guarded(
      0U,
      [&] {
        const Text user_name = Trim(ReadSettingOrThrow(kConnectionParameters, u"UserName"));
        const Text journal = JournalPath(kDeleteJournal);
        File file = File::Open(journal, Access::kRead, Disposition::kOpenExisting);
        if (!file) return 0U;
        const Text text = FromUtf16LeBytes(file.ReadAll());
        for (TextView rest = text; !rest.empty();) {
          const Text line = FromAnsi(ToAnsi(TakeJournalLine(&rest)));
          const size_t slash = line.find(u'/');
          // The copy's name follows the folder's without a backslash between.
          if (slash != Text::npos) ForgetJournalled(line.substr(slash), StagingFolder(user_name));
        }
        file.Close();
        RemoveFile(journal);
        return 1U;
      },
      TraceFileFailure(u"%s", u"Exception while applying pending deletes!"));
}

bool CCache::ClearCache(TextView cache_file) {
  return Guarded(
      false,
      [&] {
        if (cache_file.empty()) {
          trace_log_.WriteTraceText(u"clearing complete cache");
          ClearWholeCache();
        } else {
          trace_log_.WriteTrace(u"clearing cache with %s file", cache_file);
          RemoveWithTime(cache_file, KeptContents());
        }
        return true;
      },
      [&](const Failure& failure) {
        if (failure.kind == Failure::Kind::kFile) {
          trace_log_.WriteTrace(u"Error clearing cache for %s file, Reason: %s", cache_file,
                                failure.text);
        } else {
          trace_log_.WriteTrace(u"Exception while clearing cache for %s file!", cache_file);
        }
      });
}

// All that can go goes, also when one of them cannot.
void CCache::ClearWholeCache() {
  const std::vector<Text> kept = KeptContents();
  std::exception_ptr failure;
  for (const FileInfo& info : ListFolder(names_.folder())) {
    if (info.is_folder) continue;
    try {
      RemoveWithTime(names_.folder() + info.name, kept);
    } catch (const Error&) {
      failure = std::current_exception();
    }
  }
  if (failure) std::rethrow_exception(failure);
}

std::vector<Text> CCache::KeptContents() {
  std::vector<Text> kept;
  for (const PendingUpload& upload : pending_.List()) {
    kept.push_back(names_.GetFileRecordName(upload.path));
  }
  return kept;
}

bool CCache::ClearCacheForPath(TextView path, ClearKind kind) {
  return Guarded(
      true,
      [&] {
        const Text server_path = ReplaceAll(path, u'\\', u'/');
        const TextView stem = WithoutTrailingSlash(server_path);
        if (kind == ClearKind::kFile) ClearCache(names_.GetFileRecordName(stem));
        if (kind == ClearKind::kFolder || kind == ClearKind::kFolderTree) ClearFolder(stem, true);
        return true;
      },
      TraceFileFailure(u"%s", u"Exception while clearing cache for a path!"));
}

void CCache::ClearFolder(TextView path, bool with_listings) {
  const Text content_prefix = names_.GetFileRecordName(path);
  const Text listing_prefix = names_.GetDirRecordName(path);
  for (const FileInfo& info : ListFolder(names_.folder())) {
    const Text file = names_.folder() + info.name;
    if (info.is_folder) continue;
    if (file.starts_with(content_prefix) || (with_listings && file.starts_with(listing_prefix))) {
      ClearCache(file);
    }
  }
}

}  // namespace zv
