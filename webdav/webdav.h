// The client for the user's account on the server: WebDAV (RFC 4918) over HTTP.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/guard.h"
#include "config/log.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "platform/internet.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "platform/xml.h"
#include "webdav/directory_entry.h"
#include "webdav/transfer_request.h"

namespace zv {

// What the connection settings say. Secrets are in clear here and only here.
struct ConnectionSettings {
  Text server_host;
  Text user_name;
  Text password;
  bool use_ssl = false;
  bool use_compression = false;
  bool use_proxy = false;
  Text proxy_host;
  int32_t proxy_port = 0;
  Text proxy_user;
  Text proxy_password;
};

// One object serves one caller; sending is serialised by the object's request lock, reading a reply
// is not. No operation throws; each reports failure by its result and in the logs ("DavDebug.txt",
// "UserLog.txt"). Paths are server paths relative to the account root, "/" first; "\" is taken as
// "/".
class CWebDAV {
 public:
  // Throws std::bad_alloc where memory runs out on the way to the connection: a client that was
  // made from a part of the settings would have none, or send to another place.
  CWebDAV();
  virtual ~CWebDAV();
  CWebDAV(const CWebDAV&) = delete;
  CWebDAV& operator=(const CWebDAV&) = delete;

  // --- session and request core
  // False, with no settings at all, when they cannot be read; also sets the retry settings of
  // webdav/retry.h.
  bool ReadConnectionSettings();
  // Opens session and connection anew. The connection is missing when that fails.
  virtual void PrepareConnectionHandle();
  // A new request is put together: from nothing, then with its flags, header lines and body. What
  // is not appended replaces what was there; the flags of a TLS connection are added by themselves.
  void ResetRequest();
  void SetRequestFlags(uint32_t flags, bool append);
  void AddRequestHeaders(TextView text, bool append);
  void SetRequestBody(std::string_view text, bool append);
  // True when a status code was received, whatever it is. path: from the server's root.
  bool SendDAVRequest(TextView verb, TextView path);
  // Reads into the buffer; received (optional) gets the count of bytes, 0 at the end.
  bool GetBufferFromServer(void* buffer, size_t size, size_t* received = nullptr);
  // Closes the request; what is left of the reply is not read.
  void ClearRequest();
  // Lets the open request take any certificate.
  void IgnoreCertificateRequest();
  // The last reply's status text, or the words of the last failure.
  Text GetErrorMessage();
  // Probes the login with OPTIONS; the last status code, 0 when no reply came.
  uint32_t LoginToServer(TextView user, TextView password);
  // Percent-encodes the UTF-8 form, keeping only ASCII letters, digits and "/"; "\" counts as "/".
  Text EncodeUrlPath(TextView path);

  // --- listing
  // entries: the listing buffer, ended by the last-entry flag; owned by this object, valid until
  // its next listing. Null after false.
  bool GetDirectoryContents(TextView path, DirectoryEntry** entries);
  // The same of a reply's text; no memory, or a failing XML object, throws.
  bool ParseMultistatus(TextView reply, DirectoryEntry** entries);

  // --- single resources
  // True also when the folder is there already.
  bool CreateDirectoryOnServer(TextView path);
  // File or folder; never the root. Both are true also when the server fails twice (500): it may
  // have deleted it all the same. The second one writes nothing to the user's log.
  bool DeleteResource(TextView path);
  bool DeleteServerFile(TextView path);
  // After false, status_code() is 412 when the target exists.
  bool RenameResource(TextView old_path, TextView new_path);
  // By a GET whose body is not read: the reply's Content-Length as it stands (empty without one)
  // and its time. A file that cannot be had is an error in the user's log.
  bool GetFileLength(TextView path, Text* length, FileTime* last_modified);
  // The same without the time and without a line: whether it is there is what is asked.
  bool IsFileOnServer(TextView path, Text* length);
  // 1 or 0; whole seconds.
  uint32_t GetFolderLastModifiedTime(TextView path, Seconds1601* time);
  // HEAD. 1 or 0.
  uint32_t GetLastModifiedTime(TextView path, int64_t* content_length, FileTime* time);
  // The stored used quota and the quota member (true), or the last listing's figures (false).
  bool GetUsedQuota(int64_t* quota, int64_t* used);

  // --- download
  // Brings a whole file into local_path, which must not exist or holds nothing of value; resumes,
  // retries, publishes progress, can be cancelled. last_modified (optional): the reply's own time.
  bool RestoreFile(TextView remote_path, TextView local_path, FileTime* last_modified = nullptr);
  // Sends the GET of a file from request.offset, or of a range. True when the reply brings just
  // that, or the whole file instead of its beginning; content_length() and request.file_size then
  // tell its length (0 when it does not say).
  bool StartRestore(TransferRequest& request, bool ranged);
  // Ends what StartRestore began.
  void EndRestoreFromServer(TransferRequest& request);

  uint32_t status_code() const { return status_code_; }
  // Bytes that the reply to the last StartRestore will bring; 0 when it does not say.
  int64_t content_length() const { return content_length_; }
  // Mebibytes, as the last listing's reply told them; 0 where it did not.
  int64_t listed_quota() const { return quota_; }
  int64_t listed_used() const { return used_; }
  const Text& account_root() const { return account_root_; }
  const ConnectionSettings& settings() const { return settings_; }

 protected:
  // --- building blocks that other clients share; each may throw
  // Discards connection and session and opens both anew, under this agent name.
  void OpenConnection(TextView agent);
  // Base64 of user:password in the 8-bit form, for Basic authentication (RFC 7617).
  Text BasicCredentials() const;
  // HTTPS to the server itself, not through the compression relay.
  bool IsDirectSecure() const { return settings_.use_ssl && !settings_.use_compression; }
  // Proxy user and password on the open request, where they apply.
  void SetProxyCredentials();
  // Connect, send and receive time-outs of the open request.
  void SetTimeouts(uint32_t milliseconds);
  // EncodeUrlPath that throws where the path cannot be encoded: without its path a request would go
  // to the server's root.
  Text EncodeTarget(TextView path);
  // The header block of a MOVE.
  Text DestinationHeaders(TextView new_path);
  // The open reply's body, whole, from the 8-bit code page. One that is too long throws.
  Text ReadReplyText();
  // Keeps of a failed set-up whether memory ran out; the constructors throw then.
  void NoteSetUpFailure(const Failure& failure) {
    set_up_lacked_memory_ |= failure.kind == Failure::Kind::kMemory;
  }
  void ThrowIfSetUpLackedMemory() const {
    if (set_up_lacked_memory_) throw std::bad_alloc();
  }
  // Says why a listing, or another PROPFIND's answer, could not be had.
  void ReportListingFailure(const Failure& failure);

  ConnectionSettings settings_;
  Text account_root_;  // "/users/" + user + "/Files"
  Semaphore request_lock_{1, 1};
  std::unique_ptr<InternetSession> session_;
  std::unique_ptr<HttpConnection> connection_;
  std::unique_ptr<HttpRequest> request_;
  Text request_headers_;
  std::string request_body_;
  uint32_t request_flags_ = 0;
  uint32_t status_code_ = 0;
  int64_t content_length_ = 0;
  Text status_text_;
  CLogEvent debug_log_;
  CLogEvent user_log_;

 private:
  bool set_up_lacked_memory_ = false;
  struct DeleteReply {
    bool sent = false;
    uint32_t status = 0;  // 0 when not sent
  };
  class Download;

  bool SendLocked(TextView verb, TextView encoded_path);
  bool FetchListing(const Text& full_path, DirectoryEntry** entries);
  // Text of the first node that the query selects; empty when there is none, or it cannot be read,
  // but lack of memory throws.
  Text GetNodeText(const XmlNode& node, TextView query);

  // A server error (500) is answered by one more attempt.
  DeleteReply SendDelete(TextView path);
  uint32_t ReadFolderTime(TextView reply, Seconds1601* time);
  // The open reply's headers: nothing, and time 0, when they are missing.
  std::optional<int64_t> ReplyLength() const;
  FileTime ReplyLastModified() const;

  // See restore.cpp.
  enum class RestoreReply { kBytes, kEmptyFile, kOther };  // kBytes: those asked for
  bool SendRestore(TransferRequest& request, bool ranged);
  RestoreReply JudgeRestore(int64_t offset, bool ranged) const;
  bool ReplyBegins(int64_t offset) const;
  bool ReplySaysEmpty() const;

  XmlDocument xml_;
  int64_t quota_ = 0;
  int64_t used_ = 0;
  std::vector<DirectoryEntry> listing_;
};

}  // namespace zv
