#include "upload/backup_dav.h"

#include "webdav/http_status.h"

namespace zv {
namespace {

constexpr TextView kAgent = u"Cirrux Backup App";
constexpr uint32_t kRequestTimeout = 10000;  // ms, for connecting, sending and receiving

}  // namespace

CBackupDAV::CBackupDAV() {
  if (account_root_.empty()) return;  // without settings there is nothing to connect to
  CBackupDAV::PrepareConnectionHandle();
  ThrowIfSetUpLackedMemory();
}

CBackupDAV::~CBackupDAV() = default;

void CBackupDAV::PrepareConnectionHandle() {
  Guarded([&] { OpenConnection(kAgent); },
          [&](const Failure& failure) {
            NoteSetUpFailure(failure);
            status_text_ = failure.text;
            debug_log_.WriteTrace(u"Exception in PrepareConnectionHandle!, Reason : %s",
                                  GetErrorMessage());
          });
}

bool CBackupDAV::MakeBackupCall(TextView url, uint32_t content_length) {
  SemaphoreLock lock(request_lock_);
  debug_log_.WriteTrace(u"Started making a Backup call for %s", url);
  return Guarded(
      false,
      [&] {
        if (!connection_) throw Error(ErrorKind::kInternet, LastError(), GetErrorMessage());
        AddRequestHeaders(Format(u"Authorization: Basic %s", BasicCredentials()), true);
        if (IsDirectSecure()) request_flags_ |= kSecureFlags;
        request_ = std::make_unique<HttpRequest>(*connection_, u"PUT", EncodeTarget(url),
                                                 TextView(), request_flags_);
        request_->AddHeaders(request_headers_);
        SetTimeouts(kRequestTimeout);
        SetProxyCredentials();
        IgnoreCertificateRequest();
        if (request_->Begin(content_length)) return true;
        status_text_ = GetLastErrorText();
        debug_log_.WriteTrace(u"Error uploading %s, Reason: %s", url, GetErrorMessage());
        return false;
      },
      [&](const Failure& failure) {
        status_text_ = failure.text;
        const bool internet = failure.kind == Failure::Kind::kInternet;
        debug_log_.WriteTrace(internet ? u"Error uploading %s, Reason: %s"
                                       : u"Unknown error uploading %s, Reason : %s",
                              url, GetErrorMessage());
      });
}

bool CBackupDAV::EndRequest() {
  const bool ended = request_->End();
  status_code_ = request_->StatusCode();
  status_text_ = request_->StatusText();
  return ended;
}

bool CBackupDAV::InitiateUpload(TransferRequest& request) {
  return Guarded(
      false,
      [&] {
        ResetRequest();
        SetRequestFlags(kFlagNoCacheWrite, false);
        if (request.file_size == 0 && request.length != 0) {
          const int64_t end = request.offset + request.length;
          Text length;
          FileTime ignored;
          const int64_t stored =
              GetFileLength(request.path, &length, &ignored) ? ParseInt64(length) : 0;
          request.file_size = std::max(stored, end);
          ResetRequest();  // the length query left its own flags behind
          SetRequestFlags(kFlagNoCacheWrite, false);
          const Text range = Format(u"Content-Range: bytes %ld-%ld/%ld", request.offset, end - 1,
                                    request.file_size);
          AddRequestHeaders(range, false);
          debug_log_.WriteTrace(u"Range header : %s", range);
          const Text size = Format(u"Content-Length: %ld", request.length);
          AddRequestHeaders(size, true);
          debug_log_.WriteTrace(u"Length header : %s", size);
        }
        if (MakeBackupCall(account_root_ + request.path, request.length)) return true;
        user_log_.WriteLog(LogLevel::kError, u"Unable to upload file %s. Reason: %s", request.path,
                           GetErrorMessage());
        ClearRequest();
        return false;
      },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(u"Error initiating upload of %s, Reason : %s", request.path,
                              failure.text);
        user_log_.WriteLog(LogLevel::kError, u"Error initiating upload of %s. Reason: %s",
                           request.path, failure.text);
        ClearRequest();
      });
}

bool CBackupDAV::EndUpload(const TransferRequest& request) {
  if (!request_) {
    user_log_.WriteLog(LogLevel::kError, u"The %s could not be uploaded due to an unknown error.",
                       request.path);
    return false;
  }
  return Guarded(
      false,
      [&] {
        EndRequest();
        const bool stored = IsCreatedOrReplaced(status_code_);
        if (!stored) {
          user_log_.WriteLog(LogLevel::kError, u"Unable to upload file %s. Reason: %s (%d)",
                             request.path, GetErrorMessage(), status_code_);
        }
        debug_log_.WriteTrace(u"Finished making a Backup call, with response %d", status_code_);
        return stored;
      },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(u"Error ending upload of %s. Reason: %s", request.path, failure.text);
        user_log_.WriteLog(LogLevel::kError, u"Error ending upload of %s. Reason: %s", request.path,
                           failure.text);
      });
}

}  // namespace zv
