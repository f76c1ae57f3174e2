// One request: put together, sent, judged by the caller, read, closed.
#include <algorithm>

#include "platform/base64.h"
#include "webdav/url.h"
#include "webdav/webdav.h"

namespace zv {
namespace {

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

Text CWebDAV::EncodeUrlPath(TextView path) {
  return Guarded(
      Text(), [&] { return PercentEncodePath(path); },
      [&](const Failure&) {
        debug_log_.WriteTrace(u"Failed to encode unicode string. Reason:%d", LastError());
      });
}

Text CWebDAV::EncodeTarget(TextView path) {
  Text encoded = EncodeUrlPath(path);
  if (encoded.empty() && !path.empty()) ThrowLastError(ErrorKind::kOther);
  return encoded;
}

Text CWebDAV::BasicCredentials() const {
  const std::string pair = ToAnsi(settings_.user_name + u":" + settings_.password);
  return FromUtf8(EncodeBase64(pair));
}

bool CWebDAV::SendDAVRequest(TextView verb, TextView path) {
  SemaphoreLock lock(request_lock_);
  const bool sent = Guarded(
      false, [&] { return SendLocked(verb, EncodeTarget(path)); },
      [&](const Failure& failure) {
        if (failure.kind == Failure::Kind::kInternet) {
          status_text_ = failure.text;
          debug_log_.WriteTrace(u"Error calling %s, Reason: %s", verb, GetErrorMessage());
        } else {
          status_text_ = GetLastErrorText();
          debug_log_.WriteTrace(u"Unknown error in Sending DAV Request, Reason : %s",
                                GetErrorMessage());
        }
      });
  const uint32_t status = status_code_;
  lock.Unlock();
  if (sent) {
    debug_log_.WriteTrace(u"Finished making a Webdav call %s, with response %d", verb, status);
  }
  return sent;
}

bool CWebDAV::SendLocked(TextView verb, TextView encoded_path) {
  ClearRequest();
  AddRequestHeaders(Format(u"\nAuthorization: Basic %s", BasicCredentials()), true);
  if (IsDirectSecure()) request_flags_ |= kSecureFlags;
  // Why there is no connection was kept as the status text.
  if (!connection_) throw Error(ErrorKind::kInternet, LastError(), GetErrorMessage());
  request_ =
      std::make_unique<HttpRequest>(*connection_, verb, encoded_path, TextView(), request_flags_);
  SetTimeouts(TimeoutOf(verb));
  SetProxyCredentials();
  IgnoreCertificateRequest();
  if (!request_->Send(request_headers_, request_body_)) {
    debug_log_.WriteTrace(u"Error calling %s, Reason: %s", verb, GetLastErrorText());
    return false;
  }
  status_code_ = request_->StatusCode();
  status_text_ = request_->StatusText();
  return true;
}

void CWebDAV::SetTimeouts(uint32_t milliseconds) {
  request_->SetOption(kOptionConnectTimeout, milliseconds);
  request_->SetOption(kOptionReceiveTimeout, milliseconds);
  request_->SetOption(kOptionSendTimeout, milliseconds);
}

void CWebDAV::SetProxyCredentials() {
  if (!settings_.use_proxy || settings_.use_compression) return;
  if (settings_.proxy_user.empty() || settings_.proxy_password.empty()) return;
  // The length of the user name counts for the password, too: accounts were set up to match that.
  const size_t length = settings_.proxy_user.size();
  request_->SetOption(kOptionProxyUser, settings_.proxy_user, length);
  request_->SetOption(kOptionProxyPassword, settings_.proxy_password, length);
}

void CWebDAV::IgnoreCertificateRequest() {
  Guarded(
      [&] {
        if (!request_) throw Error(ErrorKind::kOther, 0, Text(kUnknownErrorText));
        const uint32_t flags = request_->QueryOption(kOptionSecurityFlags);
        request_->SetOption(kOptionSecurityFlags, flags | kIgnoreCertificateFlags);
      },
      [&](const Failure&) {
        debug_log_.WriteTraceText(u"Exception in  IgnoreCertificateRequest");
      });
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
        debug_log_.WriteTrace(u"Exception in GetBufferFromServer, Reason: %s", failure.text);
      });
}

void CWebDAV::ClearRequest() {
  Guarded([&] { request_.reset(); },
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
          // A carriage return and a line feed.
          status_text_.resize(status_text_.size() - std::min<size_t>(status_text_.size(), 2));
        }
        return status_text_;
      },
      [&](const Failure&) { debug_log_.WriteTraceText(u"Exception in  GetErrorMessage"); });
}

}  // namespace zv
