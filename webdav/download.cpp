// A file brought from the server into a local one, from where an earlier attempt broke off.
#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "platform/file.h"
#include "webdav/retry.h"
#include "webdav/scoped_request.h"
#include "webdav/webdav.h"
#include "worker/progress.h"

namespace zv {
namespace {

constexpr size_t kChunkSize = 51200;  // bytes; progress is published, and a cancel seen, after each

constexpr TextView kResuming =
    u"Resuming download of file %s [retry count %d, %d%% downloaded]. Reason: %s";
constexpr TextView kResumingStatus =
    u"Resuming download of file %s [retry count %d, %d%% downloaded]. Reason: %s (%d)";
constexpr TextView kUnableTrace =
    u"Unable to download file %s [retry count %d, %d%% downloaded]. \t\t\t\t\tReason: %s (%d)";

// Pieces as they come from the line, written together: the system takes one large piece in much
// less time than the small ones that it is made of.
class ReceivedBytes {
 public:
  void Expect(int64_t size) {
    bytes_.resize(static_cast<size_t>(std::min<int64_t>(size, kWrittenTogether)));
  }
  size_t count() const { return count_; }
  bool is_full() const { return count_ == bytes_.size(); }
  // Room for a next piece of at most so many bytes, which Add then counts.
  std::span<std::byte> RoomFor(size_t size) {
    return std::span(bytes_).subspan(count_, std::min(size, bytes_.size() - count_));
  }
  void Add(size_t size) { count_ += size; }
  // What a failed write leaves over is dropped.
  void WriteTo(File& file) { file.Write(bytes_.data(), std::exchange(count_, 0)); }

 private:
  // Whole chunks that end at whole pages, and at a border of the larger units that a system's
  // memory has beside them.
  static constexpr size_t kWrittenTogether = 32 * kChunkSize;
  std::vector<std::byte> bytes_;
  size_t count_ = 0;
};

}  // namespace

// One file's download over all its attempts.
struct CWebDAV::Download {
  TextView remote;
  TextView local;
  int16_t attempt = 1;       // 0: no further attempt
  int64_t downloaded = 0;    // bytes received; at an attempt's end all are written
  int64_t total = 0;         // bytes of the whole file
  int64_t start_time = 0;    // seconds since 1970
  int64_t local_begin = -1;  // bytes that the local file held before; -1: not known yet
  Text last_modified = {};   // as the server wrote it
  FileTime last_modified_time = {};
  File file = {};  // open during an attempt
  ReceivedBytes received = {};

  int whole_percent() const { return total > 0 ? static_cast<int>(downloaded * 100 / total) : 0; }
  void StartOver() { downloaded = 0; }
};

bool CWebDAV::StartRestore(TransferRequest& request, bool ranged) {
  return Guarded(
      false, [&] { return SendRestore(request, ranged); },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(failure.is_known() ? u"Error initiating restore, Reason: %s"
                                                 : u"Exception in initiating restore, Reason: %s",
                              failure.text);
      });
}

bool CWebDAV::SendRestore(TransferRequest& request, bool ranged) {
  content_length_ = 0;
  ResetRequest();
  SetRequestFlags(kFlagNoCacheWrite, false);
  // 32 bits wide: what a server makes of a wrapped offset is told from its reply.
  if (request.offset != 0) AddRequestHeaders(Format(u"Range: bytes=%ld-", request.offset), false);
  if (ranged) {
    AddRequestHeaders(Format(u"Range: bytes=%I64d-%I64d", request.offset,
                             request.offset + int64_t{request.length}),
                      false);
  }
  if (!SendDAVRequest(u"GET", account_root_ + request.path)) {
    debug_log_.WriteTraceText(u"Error calling SendDAVRequest on GET");
    return false;
  }
  const bool asked_for_part = ranged || request.offset != 0;
  // The whole file begins where a part from 0 does: that is how a server answers that knows no
  // parts, and some servers for an empty file.
  const bool whole = status_code_ == 200 && request.offset == 0;
  const bool part = asked_for_part && ReplyBegins(request.offset);
  const bool empty = ranged && request.offset == 0 && ReplySaysEmpty();
  if (whole || part) {
    content_length_ = std::max<int64_t>(ReplyLength().value_or(0), 0);
  } else {
    ClearRequest();  // what comes with it is no file's
  }
  if (!whole && !part && !empty) return false;
  request.file_size = content_length_;
  return true;
}

// Whether the reply is a part (RFC 9110, 14.4) that begins at the offset.
bool CWebDAV::ReplyBegins(int64_t offset) const {
  constexpr TextView kUnit = u"bytes ";
  if (status_code_ != 206) return false;
  const auto range = request_->Header(u"Content-Range");
  return range && range->starts_with(kUnit) && ParseInt64(range->substr(kUnit.size())) == offset;
}

// Whether the reply refuses the part because the file has no bytes at all (RFC 9110, 15.5.17).
bool CWebDAV::ReplySaysEmpty() const {
  return status_code_ == 416 && request_->Header(u"Content-Range") == u"bytes */0";
}

void CWebDAV::EndRestoreFromServer(TransferRequest& /*request*/) { ClearRequest(); }

bool CWebDAV::RestoreFile(TextView remote_path, TextView local_path, FileTime* last_modified) {
  Download download{.remote = remote_path, .local = local_path};
  const bool restored = Guarded(
      false, [&] { return RunRestore(download); },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(failure.is_known() ? u"Error downloading file %s. Reason: %s"
                                                 : u"Error while downloading file %s. Reason: %s",
                              remote_path, failure.text);
      });
  PublishIdle();
  if (restored && last_modified) *last_modified = download.last_modified_time;
  return restored;
}

bool CWebDAV::RunRestore(Download& download) {
  ClearCancelRequest();
  while (download.attempt <= RetryCount()) {
    if (DownloadFile(download)) return true;
    if (download.attempt == 0) return false;
    ++download.attempt;
    SleepMs(static_cast<uint32_t>(RetryWait()));
  }
  user_log_.WriteLog(LogLevel::kError, u"Aborting download of %s.", download.remote);
  return false;
}

bool CWebDAV::DownloadFile(Download& download) {
  const bool whole = Guarded(
      false, [&] { return RunAttempt(download); },
      [&](const Failure& failure) { ReportBrokenDownload(download, failure); });
  KeepReceived(download);
  download.file.Close();
  ClearRequest();
  return whole;
}

// An attempt that broke off leaves what it received for the next one, which sees from the file
// whether that is so.
void CWebDAV::KeepReceived(Download& download) {
  GuardedQuietly(false, [&] {
    if (download.file) WriteReceived(download);
    return true;
  });
}

bool CWebDAV::RunAttempt(Download& download) {
  // What was written may be gone meanwhile.
  const auto found = FindPath(download.local);
  const int64_t size = found ? found->size : 0;
  if (size < download.local_begin + download.downloaded) {
    download.StartOver();
    download.local_begin = std::min(download.local_begin, size);
  }
  if (download.downloaded == 0) download.start_time = UnixTime();
  if (PublishDownload(download)) return CancelDownload(download);
  if (!GetRemaining(download)) return ReportFailedGet(download);
  if (PublishDownload(download)) return CancelDownload(download);
  if (!OpenLocalFile(download)) {
    constexpr TextView kUnable = u"Unable to open file %s for downloading cache file. Reason: %s";
    const Text reason = GetLastErrorText();
    debug_log_.WriteTrace(kUnable, download.local, reason);
    user_log_.WriteLog(LogLevel::kError, kUnable, download.local, reason);
    return false;
  }
  return ReceiveBody(download);
}

bool CWebDAV::GetRemaining(Download& download) {
  TransferRequest request{.path = Text(download.remote), .offset = download.downloaded};
  if (!StartRestore(request, false)) return false;
  if (download.downloaded != 0 && !ContinuesFile(download)) {
    download.StartOver();
    request.offset = 0;
    if (!StartRestore(request, false)) return false;
  }
  if (!ReplyLength()) {
    // Its end could not be told from a broken connection.
    status_text_ = u"The server does not say how long the file is.";
    ClearRequest();
    return false;
  }
  download.total = download.downloaded + content_length_;
  download.last_modified = request_->Header(u"Last-Modified").value_or(Text());
  download.last_modified_time = ReplyLastModified();
  return true;
}

// False when the file on the server is no longer the one that the first attempt began to fetch.
bool CWebDAV::ContinuesFile(const Download& download) const {
  return download.downloaded + content_length_ == download.total &&
         request_->Header(u"Last-Modified").value_or(Text()) == download.last_modified;
}

bool CWebDAV::OpenLocalFile(Download& download) {
  download.file = File::Open(download.local, Access::kWrite, Disposition::kOpenAlways);
  if (!download.file) return false;
  const int64_t size = download.file.SeekToEnd();
  if (download.local_begin < 0) download.local_begin = size;
  const int64_t end = download.local_begin + download.downloaded;
  if (size == end) return true;
  // A write that failed left a part of its bytes, or the file starts over.
  download.file.SetSize(end);
  download.file.Seek(end);
  return true;
}

bool CWebDAV::ReceiveBody(Download& download) {
  download.received.Expect(content_length_);
  bool resumed = download.attempt > 1;
  while (download.downloaded < download.total) {
    const int64_t left = download.total - download.downloaded;
    if (download.received.is_full()) WriteReceived(download);
    const auto room = download.received.RoomFor(std::min(kChunkSize, static_cast<size_t>(left)));
    size_t received = 0;
    if (!GetBufferFromServer(room.data(), room.size(), &received) || received == 0) {
      return ReportFailedRead(download);
    }
    download.received.Add(received);
    download.downloaded += static_cast<int64_t>(received);
    if (PublishDownload(download)) return CancelDownload(download);
    if (resumed) {
      constexpr TextView kEstablished =
          u"Connection established and continuing download of file %s.";
      user_log_.WriteLog(LogLevel::kInformation, kEstablished, download.remote);
      debug_log_.WriteTrace(kEstablished, download.remote);
      resumed = false;
    }
  }
  WriteReceived(download);
  CloseWritten(download);
  return FinishDownload(download);
}

// What the system took and cannot keep counts as not received: nobody knows how much it is.
void CWebDAV::CloseWritten(Download& download) {
  const int64_t downloaded = download.downloaded;
  download.StartOver();
  download.file.CloseWritten();
  download.downloaded = downloaded;
}

// What cannot be written counts as not received.
void CWebDAV::WriteReceived(Download& download) {
  const auto count = static_cast<int64_t>(download.received.count());
  download.downloaded -= count;
  download.received.WriteTo(download.file);
  download.downloaded += count;
}

bool CWebDAV::FinishDownload(const Download& download) {
  ClearRequest();
  constexpr TextView kDownloaded = u"%s has been downloaded.";
  user_log_.WriteLog(LogLevel::kInformation, kDownloaded, download.remote);
  debug_log_.WriteTrace(kDownloaded, download.remote);
  PublishIdle();
  return true;
}

// True when the user wants it canceled. The counts are 32 bits wide.
bool CWebDAV::PublishDownload(const Download& download) {
  return SetProgressDetails(TransferKind::kDownload, download.remote,
                            static_cast<uint32_t>(download.downloaded),
                            static_cast<uint32_t>(download.total), download.start_time);
}

bool CWebDAV::CancelDownload(Download& download) {
  user_log_.WriteLog(
      LogLevel::kInformation,
      u"Unable to download the file %s completely, as the operation was manually canceled.",
      download.remote);
  debug_log_.WriteTrace(u"User canceled the file download of %s.", download.remote);
  download.attempt = 0;
  return false;
}

bool CWebDAV::ReportFailedGet(Download& download) {
  if (status_code_ == 404) {
    user_log_.WriteLog(LogLevel::kInformation, u"Unable to download file %s. Reason: %s (%d)",
                       download.remote, GetErrorMessage(), status_code_);
    debug_log_.WriteTraceText(u"File not found on the server, \t\t\t\t\twe are stopping transfer");
    download.attempt = 0;
    return false;
  }
  user_log_.WriteLog(LogLevel::kInformation, kResumingStatus, download.remote, download.attempt,
                     download.whole_percent(), GetErrorMessage(), status_code_);
  debug_log_.WriteTrace(kUnableTrace, download.remote, download.attempt, download.whole_percent(),
                        GetErrorMessage(), status_code_);
  // The server will not go on from here: it ignores ranges, or the file is shorter now.
  if (status_code_ == 200 || status_code_ == 206 || status_code_ == 416) download.StartOver();
  return false;
}

bool CWebDAV::ReportFailedRead(const Download& download) {
  user_log_.WriteLog(LogLevel::kInformation, kResuming, download.remote, download.attempt,
                     download.whole_percent(), GetErrorMessage());
  debug_log_.WriteTrace(kUnableTrace, download.remote, download.attempt, download.whole_percent(),
                        GetErrorMessage(), status_code_);
  return false;
}

void CWebDAV::ReportBrokenDownload(const Download& download, const Failure& failure) {
  constexpr TextView kKnown =
      u"Exception in download of file %s [retry count %d, %d%% downloaded]. Reason: %s";
  constexpr TextView kUnknown =
      u"Unknown Exception in download of file %s [retry count %d, %d%% downloaded]. Reason: %s";
  user_log_.WriteLog(LogLevel::kInformation, kResuming, download.remote, download.attempt,
                     download.whole_percent(), failure.text);
  debug_log_.WriteTrace(failure.is_known() ? kKnown : kUnknown, download.remote, download.attempt,
                        download.whole_percent(), failure.text);
}

}  // namespace zv
