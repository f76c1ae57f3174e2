// A file brought from the server into a local one, from where an earlier attempt broke off.
#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "platform/file.h"
#include "webdav/http_status.h"
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
class CWebDAV::Download {
 public:
  Download(CWebDAV& client, TextView remote, TextView local)
      : client_(client), remote_(remote), local_(local) {}

  // True when the whole file is there.
  bool Run();
  // The reply's own time.
  FileTime last_modified_time() const { return last_modified_time_; }

 private:
  // One attempt's steps, in order; false when it broke off.
  bool Attempt();
  bool RunAttempt();
  void StartOver() { downloaded_ = 0; }
  void StartOverUnlessStillThere();
  bool GetRemaining();
  bool ContinuesFile() const;
  bool OpenLocalFile();
  bool ReceiveBody();
  void WriteReceived();
  void CloseWritten();
  void KeepReceived();

  // True when the user wants it canceled.
  bool PublishAndSeeCancel();
  // These give false, for their callers to pass on.
  bool Cancel();
  bool ReportFailedGet();
  bool ReportFailedOpen();
  bool ReportFailedRead();
  void ReportEstablished();
  void ReportDownloaded();
  void ReportBroken(const Failure& failure);
  int whole_percent() const {
    return total_ > 0 ? static_cast<int>(downloaded_ * 100 / total_) : 0;
  }

  CWebDAV& client_;
  const TextView remote_, local_;
  int16_t attempt_ = 1;       // 0: no further attempt
  int64_t downloaded_ = 0;    // bytes received; at an attempt's end all are written
  int64_t total_ = 0;         // bytes of the whole file
  int64_t start_time_ = 0;    // seconds since 1970
  int64_t local_begin_ = -1;  // bytes that the local file held before; -1: not known yet
  Text last_modified_;        // as the server wrote it
  FileTime last_modified_time_;
  File file_;  // open during an attempt
  ReceivedBytes received_;
};

bool CWebDAV::RestoreFile(TextView remote_path, TextView local_path, FileTime* last_modified) {
  Download download(*this, remote_path, local_path);
  const bool restored = Guarded(
      false, [&] { return download.Run(); },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(failure.is_known() ? u"Error downloading file %s. Reason: %s"
                                                 : u"Error while downloading file %s. Reason: %s",
                              remote_path, failure.text);
      });
  PublishIdle();
  if (restored && last_modified) *last_modified = download.last_modified_time();
  return restored;
}

bool CWebDAV::Download::Run() {
  ClearCancelRequest();
  while (attempt_ <= RetryCount()) {
    if (Attempt()) return true;
    if (attempt_ == 0) return false;
    ++attempt_;
    SleepMs(static_cast<uint32_t>(RetryWait()));
  }
  client_.user_log_.WriteLog(LogLevel::kError, u"Aborting download of %s.", remote_);
  return false;
}

bool CWebDAV::Download::Attempt() {
  const bool whole = Guarded(
      false, [&] { return RunAttempt(); }, [&](const Failure& failure) { ReportBroken(failure); });
  KeepReceived();
  file_.Close();
  client_.ClearRequest();
  return whole;
}

// An attempt that broke off leaves what it received for the next one, which sees from the file
// whether that is so.
void CWebDAV::Download::KeepReceived() {
  GuardedQuietly([&] {
    if (file_) WriteReceived();
  });
}

bool CWebDAV::Download::RunAttempt() {
  StartOverUnlessStillThere();
  if (downloaded_ == 0) start_time_ = UnixTime();
  if (PublishAndSeeCancel()) return Cancel();
  if (!GetRemaining()) return ReportFailedGet();
  if (PublishAndSeeCancel()) return Cancel();
  if (!OpenLocalFile()) return ReportFailedOpen();
  return ReceiveBody();
}

// What was written may be gone meanwhile.
void CWebDAV::Download::StartOverUnlessStillThere() {
  const auto found = FindPath(local_);
  const int64_t size = found ? found->size : 0;
  if (size >= local_begin_ + downloaded_) return;
  StartOver();
  local_begin_ = std::min(local_begin_, size);
}

bool CWebDAV::Download::GetRemaining() {
  TransferRequest request{.path = Text(remote_), .offset = downloaded_};
  if (!client_.StartRestore(request, false)) return false;
  if (downloaded_ != 0 && !ContinuesFile()) {
    StartOver();
    request.offset = 0;
    if (!client_.StartRestore(request, false)) return false;
  }
  if (!client_.ReplyLength()) {
    // Its end could not be told from a broken connection.
    client_.status_text_ = u"The server does not say how long the file is.";
    client_.ClearRequest();
    return false;
  }
  total_ = downloaded_ + client_.content_length_;
  last_modified_ = client_.request_->Header(u"Last-Modified").value_or(Text());
  last_modified_time_ = client_.ReplyLastModified();
  return true;
}

// False when the file on the server is no longer the one that the first attempt began to fetch.
bool CWebDAV::Download::ContinuesFile() const {
  return downloaded_ + client_.content_length_ == total_ &&
         client_.request_->Header(u"Last-Modified").value_or(Text()) == last_modified_;
}

bool CWebDAV::Download::OpenLocalFile() {
  file_ = File::Open(local_, Access::kWrite, Disposition::kOpenAlways);
  if (!file_) return false;
  const int64_t size = file_.SeekToEnd();
  if (local_begin_ < 0) local_begin_ = size;
  const int64_t end = local_begin_ + downloaded_;
  if (size == end) return true;
  // A write that failed left a part of its bytes, or the file starts over.
  file_.SetSize(end);
  file_.Seek(end);
  return true;
}

bool CWebDAV::Download::ReceiveBody() {
  received_.Expect(client_.content_length_);
  bool resumed = attempt_ > 1;
  while (downloaded_ < total_) {
    const int64_t left = total_ - downloaded_;
    if (received_.is_full()) WriteReceived();
    const auto room = received_.RoomFor(std::min(kChunkSize, static_cast<size_t>(left)));
    size_t received = 0;
    if (!client_.GetBufferFromServer(room.data(), room.size(), &received) || received == 0) {
      return ReportFailedRead();
    }
    received_.Add(received);
    downloaded_ += static_cast<int64_t>(received);
    if (PublishAndSeeCancel()) return Cancel();
    if (std::exchange(resumed, false)) ReportEstablished();
  }
  WriteReceived();
  CloseWritten();
  ReportDownloaded();
  return true;
}

// What the system took and cannot keep counts as not received: nobody knows how much it is.
void CWebDAV::Download::CloseWritten() {
  const int64_t received = std::exchange(downloaded_, 0);
  file_.CloseWritten();
  downloaded_ = received;
}

// What cannot be written counts as not received.
void CWebDAV::Download::WriteReceived() {
  const auto count = static_cast<int64_t>(received_.count());
  downloaded_ -= count;
  received_.WriteTo(file_);
  downloaded_ += count;
}

// The counts are 32 bits wide.
bool CWebDAV::Download::PublishAndSeeCancel() {
  return SetProgressDetails(TransferKind::kDownload, remote_, static_cast<uint32_t>(downloaded_),
                            static_cast<uint32_t>(total_), start_time_);
}

bool CWebDAV::Download::Cancel() {
  client_.user_log_.WriteLog(
      LogLevel::kInformation,
      u"Unable to download the file %s completely, as the operation was manually canceled.",
      remote_);
  client_.debug_log_.WriteTrace(u"User canceled the file download of %s.", remote_);
  attempt_ = 0;
  return false;
}

bool CWebDAV::Download::ReportFailedGet() {
  if (client_.status_code_ == kStatusNotFound) {
    client_.user_log_.WriteLog(LogLevel::kInformation,
                               u"Unable to download file %s. Reason: %s (%d)", remote_,
                               client_.GetErrorMessage(), client_.status_code_);
    client_.debug_log_.WriteTraceText(
        u"File not found on the server, \t\t\t\t\twe are stopping transfer");
    attempt_ = 0;
    return false;
  }
  client_.user_log_.WriteLog(LogLevel::kInformation, kResumingStatus, remote_, attempt_,
                             whole_percent(), client_.GetErrorMessage(), client_.status_code_);
  client_.debug_log_.WriteTrace(kUnableTrace, remote_, attempt_, whole_percent(),
                                client_.GetErrorMessage(), client_.status_code_);
  // The server will not go on from here: it ignores ranges, or the file is shorter now.
  const uint32_t status = client_.status_code_;
  if (status == kStatusOk || status == kStatusPartialContent ||
      status == kStatusRangeNotSatisfiable) {
    StartOver();
  }
  return false;
}

bool CWebDAV::Download::ReportFailedOpen() {
  constexpr TextView kUnable = u"Unable to open file %s for downloading cache file. Reason: %s";
  const Text reason = GetLastErrorText();
  client_.debug_log_.WriteTrace(kUnable, local_, reason);
  client_.user_log_.WriteLog(LogLevel::kError, kUnable, local_, reason);
  return false;
}

bool CWebDAV::Download::ReportFailedRead() {
  client_.user_log_.WriteLog(LogLevel::kInformation, kResuming, remote_, attempt_, whole_percent(),
                             client_.GetErrorMessage());
  client_.debug_log_.WriteTrace(kUnableTrace, remote_, attempt_, whole_percent(),
                                client_.GetErrorMessage(), client_.status_code_);
  return false;
}

void CWebDAV::Download::ReportEstablished() {
  constexpr TextView kEstablished = u"Connection established and continuing download of file %s.";
  client_.user_log_.WriteLog(LogLevel::kInformation, kEstablished, remote_);
  client_.debug_log_.WriteTrace(kEstablished, remote_);
}

void CWebDAV::Download::ReportDownloaded() {
  constexpr TextView kDownloaded = u"%s has been downloaded.";
  client_.user_log_.WriteLog(LogLevel::kInformation, kDownloaded, remote_);
  client_.debug_log_.WriteTrace(kDownloaded, remote_);
}

void CWebDAV::Download::ReportBroken(const Failure& failure) {
  constexpr TextView kKnown =
      u"Exception in download of file %s [retry count %d, %d%% downloaded]. Reason: %s";
  constexpr TextView kUnknown =
      u"Unknown Exception in download of file %s [retry count %d, %d%% downloaded]. Reason: %s";
  client_.user_log_.WriteLog(LogLevel::kInformation, kResuming, remote_, attempt_, whole_percent(),
                             failure.text);
  client_.debug_log_.WriteTrace(failure.is_known() ? kKnown : kUnknown, remote_, attempt_,
                                whole_percent(), failure.text);
}

}  // namespace zv
