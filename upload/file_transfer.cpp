// The retry driver of uploads.
#include "platform/file.h"
#include "upload/backup_dav.h"
#include "webdav/retry.h"
#include "worker/progress.h"

namespace zv {

bool CBackupDAV::LocalFileTransfer(TextView local_path, TextView resource_path) {
  last_transfer_stored_ = false;
  last_transfer_failure_.clear();
  const bool result = Guarded(
      false,
      [&] {
        const auto found = FindPath(local_path);
        const int64_t size = found ? found->size : 0;
        ClearCancelRequest();
        int16_t retry_count = 1;
        uint32_t offset = 0;
        bool done = false;
        bool verify_failed_once = false;
        while (retry_count <= RetryCount() && !done) {
          offset = CacheUploadFile(local_path, resource_path, retry_count, offset);
          done = JudgeAttempt(resource_path, size, offset, retry_count, verify_failed_once);
        }
        if (done) return true;
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

bool CBackupDAV::JudgeAttempt(TextView resource_path, int64_t size, uint32_t& offset,
                              int16_t& retry_count, bool& verify_failed_once) {
  if (retry_count == 0) return true;
  if (offset < size) {
    ++retry_count;
    SleepMs(static_cast<uint32_t>(RetryWait()));
    return false;
  }
  if (VerifyBkpFile(resource_path, size)) {
    // Without the server's word the reason of the attempt stands: what is there may be older.
    last_transfer_stored_ = accepted_;
    if (accepted_) last_transfer_failure_.clear();
    user_log_.WriteLog(LogLevel::kInformation, u"%s has been uploaded.", resource_path);
    return true;
  }
  last_transfer_failure_ = u"Unable to verify the complete file on server.";
  user_log_.WriteLog(LogLevel::kInformation,
                     u"Unable to cache upload of the file %s. Reason: Unable to verify the "
                     u"complete file on server.",
                     resource_path);
  offset = 0;
  if (verify_failed_once) {
    user_log_.WriteLog(LogLevel::kInformation, u"Aborting upload of file %s.", resource_path);
    return true;
  }
  verify_failed_once = true;
  return false;
}

}  // namespace zv
