// The retry driver of uploads.
#include "platform/file.h"
#include "upload/backup_dav.h"
#include "webdav/retry.h"
#include "worker/progress.h"

namespace zv {

// One file's upload over all its attempts.
struct CBackupDAV::Upload {
  TextView resource_path;
  int64_t size = 0;         // bytes
  uint32_t offset = 0;      // bytes sent and accepted
  int16_t retry_count = 1;  // 0: no further attempt
  bool verify_failed_once = false;
};

bool CBackupDAV::LocalFileTransfer(TextView local_path, TextView resource_path) {
  last_transfer_stored_ = false;
  last_transfer_failure_.clear();
  const bool result = Guarded(
      false,
      [&] {
        const auto found = FindPath(local_path);
        Upload upload{.resource_path = resource_path, .size = found ? found->size : 0};
        ClearCancelRequest();
        while (upload.retry_count <= RetryCount()) {
          upload.offset =
              CacheUploadFile(local_path, resource_path, upload.retry_count, upload.offset);
          if (JudgeAttempt(upload)) return true;
        }
        user_log_.WriteLog(LogLevel::kError, u"Aborting upload of file %s.", resource_path);
        return false;
      },
      [&](const Failure&) {
        status_text_ = GetLastErrorText();
        last_transfer_failure_ = status_text_;
        debug_log_.WriteTrace(u"Unknown error in LocalFileTransfer for file %s. Reason : %s",
                              resource_path, GetErrorMessage());
        user_log_.WriteLog(LogLevel::kError, u"Error uploading local file %s. Reason: %s",
                           resource_path, GetErrorMessage());
      });
  PublishIdle();
  return result;
}

bool CBackupDAV::JudgeAttempt(Upload& upload) {
  if (upload.retry_count == 0) return true;
  if (upload.offset < upload.size) {
    ++upload.retry_count;
    SleepMs(static_cast<uint32_t>(RetryWait()));
    return false;
  }
  if (VerifyBkpFile(upload.resource_path, upload.size)) {
    // Without the server's word the reason of the attempt stands: what is there may be older.
    last_transfer_stored_ = accepted_;
    if (accepted_) last_transfer_failure_.clear();
    user_log_.WriteLog(LogLevel::kInformation, u"%s has been uploaded.", upload.resource_path);
    return true;
  }
  last_transfer_failure_ = u"Unable to verify the complete file on server.";
  user_log_.WriteLog(LogLevel::kInformation,
                     u"Unable to cache upload of the file %s. Reason: Unable to verify the "
                     u"complete file on server.",
                     upload.resource_path);
  upload.offset = 0;
  if (upload.verify_failed_once) {
    user_log_.WriteLog(LogLevel::kInformation, u"Aborting upload of file %s.",
                       upload.resource_path);
    return true;
  }
  upload.verify_failed_once = true;
  return false;
}

}  // namespace zv
