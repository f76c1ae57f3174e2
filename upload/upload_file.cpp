// One attempt to send a file, from its start or from where an earlier attempt broke off.
#include <vector>

#include "platform/file.h"
#include "upload/backup_dav.h"
#include "webdav/http_status.h"
#include "worker/progress.h"

namespace zv {

// Sizes and offsets are 32 bits wide here: larger files are refused before they come this far.
struct CBackupDAV::Attempt {
  TextView resource_path;
  int16_t& retry_count;  // see CacheUploadFile
  File file;
  uint32_t size = 0;       // of the file, bytes
  uint32_t start = 0;      // sent so far, bytes
  uint32_t remaining = 0;  // length of this attempt's body
};

uint32_t CBackupDAV::CacheUploadFile(TextView local_path, TextView resource_path,
                                     int16_t& retry_count, uint32_t start_offset) {
  last_attempt_ = SendFile(local_path, resource_path, retry_count, start_offset);
  return last_attempt_.offset;
}

CBackupDAV::AttemptResult CBackupDAV::SendFile(TextView local_path, TextView resource_path,
                                               int16_t& retry_count, uint32_t start_offset) {
  Attempt attempt{.resource_path = resource_path,
                  .retry_count = retry_count,
                  .file = File::Open(local_path, Access::kRead, Disposition::kOpenExisting)};
  if (!attempt.file) {
    AttemptResult result{.failure = GetLastErrorText()};
    user_log_.WriteLog(LogLevel::kError, u"Unable to open cache upload file %s. Reason: %s",
                       local_path, result.failure);
    debug_log_.WriteTrace(u"Unable to open cache upload file %s. \t\t\t\tReason: %s", local_path,
                          result.failure);
    retry_count = 0;
    return result;
  }
  attempt.start = start_offset;
  AttemptResult result;
  const bool answered = Guarded(
      false,
      [&] {
        result = RunAttempt(attempt);
        return true;
      },
      [&](const Failure& failure) { result.failure = ReportBrokenAttempt(attempt, failure); });
  if (answered) return result;
  ClearRequest();
  result.offset = attempt.start;
  return result;
}

CBackupDAV::AttemptResult CBackupDAV::RunAttempt(Attempt& attempt) {
  attempt.size = static_cast<uint32_t>(attempt.file.Size());
  attempt.remaining = attempt.size - attempt.start;
  if (attempt.start == 0) {
    percent_ = 0;
    upload_start_ = UnixTime();
  }
  if (PublishAndSeeCancel(attempt)) {
    debug_log_.WriteTrace(u"Upload of file %s canceled by the user.", attempt.resource_path);
    return CancelAttempt(attempt);
  }
  ResetRequest();
  SetRequestFlags(kFlagNoCacheWrite, false);
  PrepareRange(attempt);
  if (!MakeBackupCall(account_root_ + Text(attempt.resource_path), attempt.remaining)) {
    AttemptResult result{.offset = attempt.start, .failure = GetErrorMessage()};
    user_log_.WriteLog(LogLevel::kInformation,
                       u"Resuming upload of file %s [retry count %d, %d%% transferred]. Reason: %s",
                       attempt.resource_path, attempt.retry_count, static_cast<int>(percent_),
                       result.failure);
    ClearRequest();
    return result;
  }
  if (!SendBody(attempt)) return CancelAttempt(attempt);
  return FinishAttempt(attempt);
}

bool CBackupDAV::PublishAndSeeCancel(const Attempt& attempt) {
  return SetProgressDetails(TransferKind::kUpload, attempt.resource_path, attempt.size,
                            attempt.start, upload_start_);
}

CBackupDAV::AttemptResult CBackupDAV::CancelAttempt(Attempt& attempt) {
  AttemptResult result{.failure = u"canceled"};
  user_log_.WriteLog(LogLevel::kInformation,
                     u"%s could not be completely uploaded as the operation was manually canceled.",
                     attempt.resource_path);
  ClearRequest();
  attempt.retry_count = 0;
  return result;
}

// A resumed attempt sends the last byte once more, so that the server sees an overlapping range.
void CBackupDAV::PrepareRange(Attempt& attempt) {
  if (attempt.retry_count < 2 || attempt.start == 0) return;
  --attempt.start;
  ++attempt.remaining;
  AddRequestHeaders(
      Format(u"Content-Range: bytes %ld-%ld/%ld", attempt.start, attempt.size - 1, attempt.size),
      false);
  AddRequestHeaders(Format(u"Content-Length: %ld", attempt.remaining), true);
}

// False when the user canceled.
bool CBackupDAV::SendBody(Attempt& attempt) {
  std::vector<std::byte> buffer(NextUploadPiece(attempt.size, attempt.start));
  attempt.file.Seek(attempt.start);
  while (attempt.start < attempt.size) {
    const uint32_t count = NextUploadPiece(attempt.size, attempt.start);
    if (attempt.file.Read(buffer.data(), count) != count) ThrowLastError(ErrorKind::kFile);
    request_->Write(buffer.data(), count);
    attempt.start += count;
    // The product wraps above 42.9 million bytes: the figure is a 32-bit one by definition.
    percent_ = static_cast<float>(attempt.start * 100U / attempt.size);
    if (PublishAndSeeCancel(attempt)) return false;
    if (attempt.retry_count > 1) {
      constexpr TextView kEstablished = u"Connection established and continuing upload of file %s.";
      user_log_.WriteLog(LogLevel::kInformation, kEstablished, attempt.resource_path);
      debug_log_.WriteTrace(kEstablished, attempt.resource_path);
    }
    attempt.retry_count = 1;
  }
  return true;
}

CBackupDAV::AttemptResult CBackupDAV::FinishAttempt(Attempt& attempt) {
  const bool ended = EndRequest();
  debug_log_.WriteTrace(u"Finished making a Backup call, with response %d", status_code_);
  AttemptResult result;
  bool goes_on = false;  // there will be another attempt
  if (IsCreatedOrReplaced(status_code_)) {
    if (ended) {
      result.offset = attempt.start;
      result.accepted = true;
    } else {
      result.failure = GetLastErrorText();
    }
  } else if (status_code_ == kStatusConflict) {
    result.failure = GetErrorMessage();
    attempt.retry_count = 0;
  } else {
    result.failure = Format(u"%s (%d)", GetErrorMessage(), status_code_);
    user_log_.WriteLog(
        LogLevel::kInformation,
        u"Resuming cache upload of file %s [retry count %d, %d%% transferred]. Reason: %s (%d)",
        attempt.resource_path, attempt.retry_count, static_cast<int>(percent_), GetErrorMessage(),
        status_code_);
    goes_on = true;
  }
  // A cancel asked since the last chunk would be lost with this: what the server has taken, or
  // refused for good, cannot be canceled any more, but an upload that it does not take can.
  const bool cancel = PublishIdle();
  if (cancel && goes_on) return CancelAttempt(attempt);
  return result;
}

Text CBackupDAV::ReportBrokenAttempt(const Attempt& attempt, const Failure& failure) {
  status_text_ = failure.text;
  Text reason = GetErrorMessage();
  const int percent = static_cast<int>(percent_);
  if (failure.kind == Failure::Kind::kInternet) {
    debug_log_.WriteTrace(u"Unable to cache upload file %s. Reason: %s", attempt.resource_path,
                          reason);
    user_log_.WriteLog(LogLevel::kInformation,
                       u"Resuming upload of file %s [retry count %d, %d%% transferred]. Reason: %s",
                       attempt.resource_path, attempt.retry_count, percent, reason);
    return reason;
  }
  user_log_.WriteLog(
      LogLevel::kInformation,
      u"Resuming upload of file %s [retry count %d, %d%% transferred]. \t\t\tReason: %s",
      attempt.resource_path, attempt.retry_count, percent, reason);
  debug_log_.WriteTrace(u"Unknown Exception in upload of \t\t   file %s. Reason %s",
                        attempt.resource_path, reason);
  return reason;
}

}  // namespace zv
