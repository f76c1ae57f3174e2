#include "worker/host_services.h"

#include <algorithm>

#include "cache/time_file.h"
#include "config/guard.h"
#include "config/log.h"
#include "platform/file.h"

namespace zv {
namespace {

Text ServerPath(TextView drive_path) { return ReplaceAll(drive_path, u'\\', u'/'); }

// The end of the user log: enough for the lines of the transfer that is under way.
Text UserLogTail() {
  constexpr int64_t kTailBytes = 32768;
  File file =
      File::Open(CLogEvent(u"UserLog.txt").path(), Access::kRead, Disposition::kOpenExisting);
  if (!file) return {};
  const int64_t start = std::max<int64_t>(0, file.Size() - kTailBytes);
  file.Seek(start - start % 2);
  return FromUtf16LeBytes(file.ReadAll());
}

// Where the line begins to tell of the last attempt of this transfer that is to be followed by
// another; npos when there is none.
size_t FindLastRetry(TextView log, TextView name) {
  return log.rfind(Text(u" of file ").append(name).append(u" [retry count "));
}

}  // namespace

std::optional<std::vector<PendingUpload>> ListPendingUploads() {
  using List = std::optional<std::vector<PendingUpload>>;
  return GuardedQuietly(List(), [] {
    List list = PendingUploads(CacheNames()).List();
    std::erase_if(*list, [](const PendingUpload& upload) {
      return upload.kind == PendingKind::kBeingWritten;
    });
    return list;
  });
}

bool IsUploadPending(TextView drive_path) {
  // What cannot be told may be so.
  return GuardedQuietly(
      true, [&] { return PendingUploads(CacheNames()).Contains(ServerPath(drive_path)); });
}

bool IsUploadOverdue(TextView drive_path) {
  // A list that cannot be read may hold the file.
  return GuardedQuietly(true, [&] {
    const Text path = ServerPath(drive_path);
    const auto pending = PendingUploads(CacheNames()).List();
    return std::any_of(pending.begin(), pending.end(), [&](const PendingUpload& upload) {
      return upload.path == path && upload.kind != PendingKind::kCacheOnly;
    });
  });
}

bool MarkUploadPending(TextView drive_path) {
  return GuardedQuietly(false, [&] {
    return PendingUploads(CacheNames()).Add(ServerPath(drive_path), PendingKind::kContent, {});
  });
}

void UnmarkUploadPending(TextView drive_path) {
  GuardedQuietly([&] { PendingUploads(CacheNames()).Remove(ServerPath(drive_path)); });
}

uint64_t CachedContentVersion(TextView drive_path) { return CachedContentTime(drive_path).value; }

FileTime CachedContentTime(TextView drive_path) {
  return GuardedQuietly(FileTime{}, [&] {
    const CacheNames names;
    const Text path = ServerPath(drive_path);
    FileTime time;
    const bool known =
        FileExists(names.GetFileRecordName(path)) && GetFileTimeEntry(names, path, &time);
    return known ? time : FileTime{};
  });
}

Text CachedContentFile(TextView drive_path) {
  return GuardedQuietly(Text(), [&] {
    const Text file = CacheNames().GetFileRecordName(ServerPath(drive_path));
    return FileExists(file) ? file : Text();
  });
}

FileTime CachedContentWritten(TextView drive_path) {
  return GuardedQuietly(FileTime{}, [&] {
    const auto content = FindPath(CacheNames().GetFileRecordName(ServerPath(drive_path)));
    return content ? content->last_write : FileTime{};
  });
}

void DropCachedContent(TextView drive_path) {
  GuardedQuietly([&] {
    const Text file = CacheNames().GetFileRecordName(ServerPath(drive_path));
    RemoveFile(file + Text(kTimeFileSuffix));
    RemoveFile(file);
  });
}

bool CacheHasRoom(int64_t bytes) {
  return GuardedQuietly(true, [&] {
    const auto space = FreeSpace(CacheNames().folder());
    return !space || *space >= static_cast<uint64_t>(bytes);
  });
}

Text LastTransferTrouble(TextView name) {
  return GuardedQuietly(Text(), [&] {
    // "Resuming upload of file /a.txt [retry count ...": a line that did not end the matter yet.
    const Text log = UserLogTail();
    const size_t found = FindLastRetry(log, name);
    if (found == Text::npos) return Text();
    const size_t before = log.rfind(u'\n', found);
    const size_t begin = before == Text::npos ? 0 : before + 1;
    const size_t end = log.find(u'\r', found);
    return log.substr(begin, end == Text::npos ? Text::npos : end - begin);
  });
}

Text UploadBetweenAttempts() {
  return GuardedQuietly(Text(), [] {
    const Text log = UserLogTail();
    Text latest;
    size_t latest_retry = 0;
    const auto pending = ListPendingUploads();
    if (!pending) return latest;
    for (const PendingUpload& upload : *pending) {
      // An upload that was given up has a reason.
      if (upload.kind != PendingKind::kContent || !upload.reason.empty()) continue;
      const size_t retry = FindLastRetry(log, upload.path);
      if (retry == Text::npos || retry < latest_retry) continue;
      latest = upload.path;
      latest_retry = retry;
    }
    return latest;
  });
}

}  // namespace zv
