// The retry driver of uploads.
#include <utility>

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
  // See last_transfer_stored and last_transfer_failure.
  bool stored = false;
  Text failure;
};

bool CBackupDAV::LocalFileTransfer(TextView local_path, TextView resource_path) {
  Upload upload{.resource_path = resource_path};
  const bool result = Guarded(
      false,
      [&] {
        const auto found = FindPath(local_path);
        upload.size = found ? found->size : 0;
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
        upload.failure = status_text_;
        debug_log_.WriteTrace(u"Unknown error in LocalFileTransfer for file %s. Reason : %s",
                              resource_path, GetErrorMessage());
        user_log_.WriteLog(LogLevel::kError, u"Error uploading local file %s. Reason: %s",
                           resource_path, GetErrorMessage());
      });
  last_transfer_stored_ = upload.stored;
  last_transfer_failure_ = std::move(upload.failure);
  PublishIdle();
  return result;
}

bool CBackupDAV::JudgeAttempt(Upload& upload) {
  // Without the server's word the reason of the attempt stands: what is there may be older.
  if (!last_attempt_.accepted) upload.failure = std::move(last_attempt_.failure);
  if (upload.retry_count == 0) return true;
  if (upload.offset < upload.size) {
    ++upload.retry_count;
    SleepMs(static_cast<uint32_t>(RetryWait()));
    return false;
  }
  if (VerifyBkpFile(upload.resource_path, upload.size)) {
    upload.stored = last_attempt_.accepted;
    if (upload.stored) upload.failure.clear();
    user_log_.WriteLog(LogLevel::kInformation, u"%s has been uploaded.", upload.resource_path);
    return true;
  }
  upload.failure = u"Unable to verify the complete file on server.";
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
