// The client for the user's account on the server: WebDAV (RFC 4918) over HTTP.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "config/guard.h"
#include "config/log.h"
#include "platform/clock.h"
#include "platform/internet.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "platform/xml.h"
#include "webdav/directory_entry.h"
#include "webdav/transfer_request.h"

namespace zv {

// Process-wide retry settings, set whenever connection settings are read. See webdav/retry.h.

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

// One object serves one caller; sending is serialised by the object's request lock, reading a reply is
// not. No operation throws; each reports failure by its result and in the logs ("DavDebug.txt",
// "UserLog.txt"). Paths are server paths relative to the account root, "/" first; "\" is taken as "/".
class CWebDAV {
 public:
  CWebDAV();
  virtual ~CWebDAV();
  CWebDAV(const CWebDAV&) = delete;
  CWebDAV& operator=(const CWebDAV&) = delete;

  // --- session and request core
  bool ReadConnectionSettings();
  virtual void PrepareConnectionHandle();
  void ResetRequest();
  void SetRequestFlags(uint32_t flags, bool append);
  void AddRequestHeaders(TextView text, bool append);
  void SetRequestBody(std::string_view text, bool append);
  // True when a status code was received, whatever it is. path: from the server's root.
  bool SendDAVRequest(TextView verb, TextView path);
  // Reads into the buffer; received (optional) gets the count of bytes, 0 at the end.
  bool GetBufferFromServer(void* buffer, size_t size, size_t* received = nullptr);
  void ClearRequest();
  void IgnoreCertificateRequest();
  Text GetErrorMessage();
  // Probes the login with OPTIONS; the last status code, 0 when no reply came.
  uint32_t LoginToServer(TextView user, TextView password);
  // Percent-encodes the UTF-8 form, keeping only ASCII letters, digits and "/"; "\" counts as "/".
  Text EncodeUrlPath(TextView path);

  // --- listing
  // entries: the listing buffer, ended by the last-entry flag; owned by this object, valid until its
  // next listing.
  bool GetDirectoryContents(TextView path, DirectoryEntry** entries);
  bool ParseMultistatus(TextView reply, DirectoryEntry** entries);

  // --- single resources
  bool CreateDirectoryOnServer(TextView path);
  bool DeleteResource(TextView path);
  bool DeleteServerFile(TextView path);
  // After false, status_code() is 412 when the target exists.
  bool RenameResource(TextView old_path, TextView new_path);
  bool GetFileLength(TextView path, Text* length, FileTime* last_modified);
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
  // Sends the GET of a file from request.offset, or of a range; on success content_length() tells
  // what the reply will bring (0 when it does not say).
  bool StartRestore(TransferRequest& request, bool ranged);
  void EndRestoreFromServer(TransferRequest& request);

  uint32_t status_code() const { return status_code_; }
  // Bytes that the reply to the last StartRestore will bring; 0 when it does not say.
  int64_t content_length() const { return content_length_; }
  const Text& account_root() const { return account_root_; }
  const ConnectionSettings& settings() const { return settings_; }

 protected:
  // --- building blocks that the upload client shares; each may throw
  // Discards connection and session and opens both anew, under this agent name.
  void OpenConnection(TextView agent);
  // "Basic" credentials: base64 (RFC 4648) of user:password in the 8-bit form.
  Text BasicCredentials() const;
  // HTTPS to the server itself, not through the compression relay.
  bool IsDirectSecure() const { return settings_.use_ssl && !settings_.use_compression; }
  // Proxy user and password on the open request, where they apply.
  void SetProxyCredentials();
  // Connect, send and receive time-outs of the open request.
  void SetTimeouts(uint32_t milliseconds);

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
  XmlDocument xml_;
  int64_t quota_ = 0;
  int64_t used_ = 0;
  std::vector<DirectoryEntry> listing_;
};

}  // namespace zv
