// File contents: served from content files, which are whole or absent, and brought from the server.
#include "cache/cache.h"
#include "cache/listing_file.h"
#include "cache/work_file.h"
#include "config/file_names.h"
#include "platform/error.h"
#include "platform/file.h"

namespace zv {
namespace {

// A read at the beginning of a file that is not cached goes past the cache below this many bytes.
constexpr uint32_t kSmallRead = 51200;

// Whether the content file waits to be sent: nothing may take its place. Under a ListingLock this
// stays as it is in the face of renames, which take the lock while a waiting file gets its new
// name.
bool HoldsOnlyCopy(const PendingUploads& pending, TextView path, TextView content_file) {
  return pending.Contains(ReplaceAll(path, u'\\', u'/')) && !IsAbsent(content_file);
}

// As PendingUploads::Contains, but lack of memory goes through: who is to add what is not there
// must know.
bool IsOnList(const PendingUploads& pending, TextView path) {
  try {
    return pending.Find(path).has_value();
  } catch (const Error&) {
    return true;
  }
}

}  // namespace

bool CCache::ReadCachedFile(TransferRequest& request) {
  return Guarded(
      false,
      [&] {
        const Text content_file = names_.GetFileRecordName(request.path);
        File file = OpenContent(request.path, content_file);
        if (!file && !FileExists(content_file)) {
          const bool small = request.offset == 0 && request.length < kSmallRead;
          if (!ReadIsSync() && small) return FillDataFromServer(request);
          if (!CacheRestoreFile(request.path)) return false;
          file = OpenContent(request.path, content_file);
        }
        if (file) return ReadFromContent(request, file, content_file);

        const Text reason = GetLastErrorText();
        const bool temporary = ClassifyFileName(content_file) == kTemporaryName;
        if (!ReadIsSync() || temporary) return true;
        trace_log_.WriteLog(
            LogLevel::kError,
            u"Unable to open file %s for reading restore file cache data, Reason: %s", content_file,
            reason);
        return false;
      },
      LogKnownFailure(u"Exception while reading cached file!"));
}

// What does not open may be had from the server, or reads as nothing. Throws where neither may be:
// for the only copy, and when the system gave out.
File CCache::OpenContent(TextView path, TextView content_file) {
  File file = File::Open(content_file, Access::kRead, Disposition::kOpenExisting);
  if (file) return file;
  const uint32_t code = LastError();
  const bool fails = IsSystemFailure(code) || HoldsOnlyCopy(pending_, path, content_file);
  SetLastError(code);
  if (fails) ThrowLastError(ErrorKind::kFile);
  return file;
}

bool CCache::ReadFromContent(TransferRequest& request, File& file, const Text& content_file) {
  const int64_t length = static_cast<uint32_t>(file.Size());
  if (request.offset > length) {
    file.Close();
    if (!HoldsOnlyCopy(pending_, request.path, content_file)) RemoveFile(content_file);
    trace_log_.WriteLog(LogLevel::kError, u"Invalid request, Offset > file length");
    request.file_size = -1;
    return false;
  }
  if (request.offset + int64_t{request.length} > length) {
    request.length = static_cast<uint32_t>(length - request.offset);
  }
  // Positions are 32 bits wide, signed.
  file.Seek(static_cast<int32_t>(request.offset));
  file.Read(request.buffer, request.length);
  return true;
}

bool CCache::CacheRestoreFile(TextView path) {
  return Guarded(
      false,
      [&] {
        const Text content_file = names_.GetFileRecordName(path);
        return ReadIsSync() ? SyncDownload(path, content_file)
                            : DownloadContent(path, content_file);
      },
      LogKnownFailure(u"Exception while caching restore file!"));
}

bool CCache::DownloadContent(TextView path, const Text& content_file) {
  PartialFile partial(names_, content_file);
  FileTime last_modified;
  if (!server_->RestoreFile(path, partial.path(), &last_modified)) return false;
  const ListingLock lock;
  if (HoldsOnlyCopy(pending_, path, content_file)) return true;
  if (!partial.MoveIntoPlace()) {
    trace_log_.WriteLog(LogLevel::kError, u"Error moving file %s to %s. ErrorCode: %d",
                        partial.path(), content_file, LastError());
    return false;
  }
  unsent_path_.clear();
  if (last_modified != FileTime{}) SetFileTimeEntry(path, last_modified);
  return true;
}

bool CCache::SyncDownload(TextView path, const Text& content_file) {
  const SyncAccount account = ReadSyncAccount(SyncTrim::kServers);
  const Text server_path = ReplaceAll(path, u'\\', u'/');
  if (!NameIsHandedOver(server_path)) return false;
  if (!JournalWritten(u"Download_dst.txt", names_.folder(), true)) return false;
  if (!JournalWritten(u"Download_src.txt", u"F_" + server_path, true)) return false;
  if (!CallEntry(&UtilityLibrary::download, kUtilityDownload, account)) return false;

  // The library leaves the file under its own name.
  const Text downloaded = names_.folder() + Text(PathLeaf(server_path));
  PartialFile partial(names_, content_file);
  const bool copied = CopyOver(downloaded, partial.path());
  const ListingLock lock;
  if (HoldsOnlyCopy(pending_, server_path, content_file)) {
    RemoveFile(downloaded);
    return true;
  }
  if (copied && partial.MoveIntoPlace()) RemoveFile(downloaded);
  unsent_path_.clear();
  return true;
}

bool CCache::FillDataFromServer(TransferRequest& request) {
  return Guarded(
      false, [&] { return ReadFromServer(request); },
      [&](const Failure& failure) {
        trace_log_.WriteTrace(HasWords(failure) ? u"Error filling data from server, %s"
                                                : u"Exception while filling data from server!",
                              failure.text);
      });
}

bool CCache::ReadFromServer(TransferRequest& request) {
  if (!server_->StartRestore(request, true)) return false;
  const int64_t size = server_->content_length();
  if (size > 0 && request.offset + int64_t{request.length} > size) {
    request.length = static_cast<uint32_t>(size) - static_cast<uint32_t>(request.offset);
  }
  uint32_t filled = 0;
  bool going = true;
  while (going && filled < request.length) {
    size_t received = 0;
    going =
        server_->GetBufferFromServer(request.buffer + filled, request.length - filled, &received) &&
        received > 0;
    filled += static_cast<uint32_t>(received);
  }
  const Text reason = server_->GetErrorMessage();
  server_->EndRestoreFromServer(request);
  // Only a reply that did not say its length may end early.
  if (filled < request.length && size > 0) {
    trace_log_.WriteTrace(u"Error filling data from server, %s", reason);
    return false;
  }
  request.length = filled;
  return true;
}

bool CCache::CacheFile(const TransferRequest& request) {
  return Guarded(
      false,
      [&] {
        const Text content_file = names_.GetFileRecordName(request.path);
        const bool anew = request.force_store && request.offset == 0;
        if (!NoteBeingWritten(request)) return false;
        File file = File::Open(content_file, Access::kWrite,
                               anew ? Disposition::kCreateAlways : Disposition::kOpenAlways);
        if (!file) {
          trace_log_.WriteTrace(
              u"Unable to open file %s for writing file cache details, Reason: %s", content_file,
              GetLastErrorText());
          return false;
        }
        // Positions are 32 bits wide, signed.
        file.Seek(static_cast<int32_t>(request.offset));
        file.Write(request.buffer, request.length);
        file.CloseWritten();
        return true;
      },
      [&](const Failure&) { trace_log_.WriteTraceText(u"Exception while Caching file!"); });
}

// Content that begins to differ from the server's must not look like the server's copy, should this
// process end before it is sent; and no check may take it away meanwhile. False, with a line in the
// log, when that cannot be noted.
bool CCache::NoteBeingWritten(const TransferRequest& block) {
  if (unsent_path_ == block.path) return true;
  const Text time_file = names_.GetFileRecordName(block.path) + Text(kTimeFileSuffix);
  if (!IsAbsent(time_file)) {
    // A block without data empties the content of a file that was made empty: nothing follows it.
    const bool follows = block.length > 0;
    if (follows && !IsOnList(pending_, block.path) &&
        !SetPending(block.path, PendingKind::kBeingWritten, u"")) {
      return false;
    }
    if (!RemoveFile(time_file) && !IsAbsent(time_file)) ThrowLastError(ErrorKind::kFile);
  }
  unsent_path_ = block.path;
  return true;
}

}  // namespace zv
