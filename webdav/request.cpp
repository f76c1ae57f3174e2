// One request: put together, sent, read and closed.
#include "webdav/url.h"
#include "webdav/webdav.h"

namespace zv {
namespace {

constexpr uint32_t kSecureFlags = kFlagSecure | kFlagIgnoreCertName | kFlagIgnoreCertDate;
static_assert(kSecureFlags == 0x803000);

uint32_t TimeoutOf(TextView verb) {  // ms
  if (verb == u"PROPFIND") return 45000;
  if (verb == u"DELETE") return 80000;
  return 10000;
}

}  // namespace

void CWebDAV::ResetRequest() {
  request_body_.clear();
  request_headers_.clear();
  request_flags_ = 0;
  status_code_ = 0;
}

void CWebDAV::SetRequestFlags(uint32_t flags, bool append) {
  request_flags_ = append ? request_flags_ | flags : flags;
  if (IsDirectSecure()) request_flags_ |= kSecureFlags;
}

void CWebDAV::AddRequestHeaders(TextView text, bool append) {
  if (append) {
    request_headers_.append(u"\n").append(text);
  } else {
    request_headers_ = text;
  }
}

void CWebDAV::SetRequestBody(std::string_view text, bool append) {
  if (!append) request_body_.clear();
  request_body_ += text;
}

bool CWebDAV::SendDAVRequest(TextView verb, TextView path) {
  return Guarded(
      false,
      [&] {
        SemaphoreLock lock(request_lock_);
        if (!SendLocked(verb, path)) {
          const Text reason = GetLastErrorText();
          lock.Unlock();
          debug_log_.WriteTrace(u"Error calling %s, Reason: %s", verb, reason);
          return false;
        }
        lock.Unlock();
        debug_log_.WriteTrace(u"Finished making a Webdav call %s, with response %d", verb,
                              status_code_);
        return true;
      },
      [&](const Failure& failure) {
        if (failure.kind == Failure::Kind::kInternet) {
          status_text_ = failure.text;
          debug_log_.WriteTrace(u"Error calling %s, Reason: %s", verb, GetErrorMessage());
          return;
        }
        status_text_ = GetLastErrorText();
        debug_log_.WriteTrace(u"Unknown error in Sending DAV Request, Reason : %s",
                              GetErrorMessage());
      });
}

bool CWebDAV::SendLocked(TextView verb, TextView path) {
  const Text encoded = EncodeUrlPath(path);
  // Without its path a request would go to the server's root.
  if (encoded.empty() && !path.empty()) ThrowLastError(ErrorKind::kOther);
  ClearRequest();
  // Why there is no connection, the status text tells.
  if (!connection_) throw Error(ErrorKind::kInternet, LastError(), GetErrorMessage());
  AddRequestHeaders(Format(u"\nAuthorization: Basic %s", BasicCredentials()), true);
  if (IsDirectSecure()) request_flags_ |= kSecureFlags;
  request_ =
      std::make_unique<HttpRequest>(*connection_, verb, encoded, TextView(), request_flags_);
  SetTimeouts(TimeoutOf(verb));
  SetProxyCredentials();
  IgnoreCertificateRequest();
  if (!request_->Send(request_headers_, request_body_)) return false;
  status_code_ = request_->StatusCode();
  status_text_ = request_->StatusText();
  return true;
}

bool CWebDAV::GetBufferFromServer(void* buffer, size_t size, size_t* received) {
  if (received) *received = 0;
  if (!request_ || !buffer || size == 0) return false;
  return Guarded(
      false,
      [&] {
        const size_t count = request_->Read(buffer, size);
        if (received) *received = count;
        return true;
      },
      [&](const Failure& failure) {
        status_text_ = failure.text;
        debug_log_.WriteTrace(u"Exception in GetBufferFromServer, Reason: %s", GetErrorMessage());
      });
}

void CWebDAV::ClearRequest() {
  Guarded(
      false,
      [&] {
        request_.reset();
        return true;
      },
      [&](const Failure&) {
        status_text_ = GetLastErrorText();
        debug_log_.WriteTrace(u"Unknown error from ClearRequest, Reason : %s", status_text_);
      });
}

Text CWebDAV::GetErrorMessage() {
  return Guarded(
      Text(),
      [&] {
        if (status_text_.empty()) status_text_ = kUnknownErrorText;
        if (status_text_.back() == u'\n') {
          status_text_.resize(status_text_.size() - std::min<size_t>(status_text_.size(), 2));
        }
        return status_text_;
      },
      [&](const Failure&) { debug_log_.WriteTraceText(u"Exception in  GetErrorMessage"); });
}

Text CWebDAV::EncodeUrlPath(TextView path) {
  return Guarded(
      Text(), [&] { return EncodePath(path); },
      [&](const Failure&) {
        debug_log_.WriteTrace(u"Failed to encode unicode string. Reason:%d", LastError());
      });
}

}  // namespace zv
