// The upload client: PUT in chunks, resumed after a broken connection, verified at the end.
#pragma once

#include <algorithm>
#include <cstdint>

#include "webdav/webdav.h"

namespace zv {

inline constexpr uint32_t kUploadChunkSize = 51200;  // bytes

// Bytes of the next write of a file of `size` bytes, `start` of which are sent.
constexpr uint32_t NextUploadPiece(uint32_t size, uint32_t start) {
  return std::min(kUploadChunkSize, size - start);
}

// One object serves one transfer at a time. No operation throws but CacheUploadFile, where memory
// runs out before the attempt begins.
class CBackupDAV : public CWebDAV {
 public:
  // Throws std::bad_alloc as CWebDAV does. Without settings there is no connection, either.
  CBackupDAV();
  ~CBackupDAV() override;

  void PrepareConnectionHandle() override;
  // True when the PUT was opened and its headers were sent; the body and the end are the caller's.
  bool MakeBackupCall(TextView url, uint32_t content_length);
  // The offset up to which the file was sent and accepted; 0: nothing to resume from. retry_count:
  // 1 after a chunk that went through, 0 to stop all retrying.
  uint32_t CacheUploadFile(TextView local_path, TextView resource_path, int16_t& retry_count,
                           uint32_t start_offset);
  // Sends a local file whole, with resumption, retries and verification. True also after a cancel,
  // a 409 or a second failed verification; see last_transfer_stored().
  bool LocalFileTransfer(TextView local_path, TextView resource_path);
  // Whether the server acknowledged the last LocalFileTransfer's file and its copy has the right
  // length, and if not, why. Equal lengths alone prove nothing: an older version, or no file for an
  // empty one, has them as well.
  bool last_transfer_stored() const { return last_transfer_stored_; }
  const Text& last_transfer_failure() const { return last_transfer_failure_; }

  // The two halves of a single-request upload, for zero-length files.
  bool InitiateUpload(TransferRequest& request);
  bool EndUpload(const TransferRequest& request);

  // True when the server's length equals local_size; stores the server's time beside the content
  // file.
  bool VerifyBkpFile(TextView resource_path, int64_t local_size);
  // Host of the script server; empty when none is configured.
  Text GetScriptServer();
  // Bytes; 0 on any failure.
  uint64_t GetFolderSizeInByte(TextView folder_path);

 private:
  struct Upload;
  struct Attempt;
  struct AttemptResult {
    uint32_t offset = 0;    // see CacheUploadFile
    bool accepted = false;  // the server acknowledged the file
    Text failure;           // why it did not
  };

  // True when nothing is left to do after the upload's last attempt.
  bool JudgeAttempt(Upload& upload);
  AttemptResult SendFile(TextView local_path, TextView resource_path, int16_t& retry_count,
                         uint32_t start_offset);
  // One attempt's steps, in order; see CacheUploadFile.
  AttemptResult RunAttempt(Attempt& attempt);
  void PrepareRange(Attempt& attempt);
  bool SendBody(Attempt& attempt);
  AttemptResult FinishAttempt(Attempt& attempt);
  // The reply's status after the body was sent; false when ending the request failed.
  bool EndRequest();
  // True when the user wants it canceled.
  bool PublishAndSeeCancel(const Attempt& attempt);
  AttemptResult CancelAttempt(Attempt& attempt);
  // The reason that it told.
  Text ReportBrokenAttempt(const Attempt& attempt, const Failure& failure);

  int64_t upload_start_ = 0;  // seconds since 1970, of the upload's first attempt
  float percent_ = 0;
  AttemptResult last_attempt_;  // of CacheUploadFile; a transfer takes its reason away
  bool last_transfer_stored_ = false;
  Text last_transfer_failure_;
};

}  // namespace zv
