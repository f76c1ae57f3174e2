// Settings, session, connection and login.
#include "config/secrets.h"
#include "config/settings.h"
#include "webdav/base64.h"
#include "webdav/retry.h"
#include "webdav/webdav.h"

namespace zv {
namespace {

constexpr TextView kAgent = u"Cirrux App";
constexpr TextView kRelayHost = u"127.0.0.1";
constexpr uint16_t kRelayPort = 53729;
constexpr uint16_t kSecurePort = 443;
constexpr uint16_t kPlainPort = 80;
constexpr int16_t kRetryCount = 3;
constexpr int16_t kRetryWait = 5000;  // ms
constexpr size_t kCurrentUserBufferBytes = 1040;
// Ignore revocation, unknown authority, wrong name and wrong date of a certificate.
constexpr uint32_t kIgnoreCertificateFlags = 0x3180;

Text AccountRoot(TextView user) { return Format(u"/users/%s/Files", user); }

Text ReadText(const RegistryKey& key, TextView name, size_t bytes = kSettingBufferBytes) {
  Text text;
  ReadKeyText(key, name, bytes, &text);
  return text;
}

// The part before the first ";"; empty without one.
Text HostFromStored(TextView stored) {
  const size_t end = stored.find(u';');
  return end == TextView::npos ? Text() : Text(stored.substr(0, end));
}

bool IsFinalLoginStatus(uint32_t status) {
  return status == 200 || status == 401 || status == 403 || status == 407;
}

}  // namespace

CWebDAV::CWebDAV() : debug_log_(u"DavDebug.txt"), user_log_(u"UserLog.txt") {
  Guarded(
      false,
      [&] {
        if (!xml_.is_valid()) {
          debug_log_.WriteTrace(u"Could not create MSXML dll instance, Reason: %ld",
                                xml_.failure_code());
          return false;
        }
        if (!ReadConnectionSettings()) {
          debug_log_.WriteTrace(u"Could not read registry for connection details, Reason : %s",
                                GetLastErrorText());
          return false;
        }
        account_root_ = AccountRoot(settings_.user_name);
        CWebDAV::PrepareConnectionHandle();
        return true;
      },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(u"Error in CWebDAV constructor, Reason : %s", failure.text);
      });
}

CWebDAV::~CWebDAV() = default;

bool CWebDAV::ReadConnectionSettings() {
  return Guarded(
      false,
      [&] {
        const auto key = RegistryKey::Open(Text(kProductKey) + Text(kConnectionParameters),
                                           KeyMode::kOpen);
        if (!key) return false;
        const auto preferences =
            RegistryKey::Open(Text(kProductKey) + Text(kSettingsKey), KeyMode::kOpen);
        if (!preferences) return false;
        settings_.user_name = ReadText(*key, u"UserName");
        settings_.password = PasswordFromStored(ReadText(*key, u"Password"));
        settings_.use_ssl = ParseInt32(ReadText(*key, u"SSL")) != 0;
        const int32_t compression =
            ParseInt32(ReadText(*preferences, u"Faster with Compression"));
        settings_.use_compression = (compression & 1) != 0;
        const Text current_user = ReadText(*key, u"CurrentUser", kCurrentUserBufferBytes);
        settings_.server_host = ReadAccountType() == kSyncAccount
                                    ? ReadText(*key, u"WebServer")
                                    : HostFromStored(ReadText(*key, current_user));
        ReadProxySettings(*key);
        SetRetrySettings(kRetryCount, kRetryWait);
        return true;
      },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(u"Exception reading registry, Reason : %s", failure.text);
      });
}

void CWebDAV::ReadProxySettings(const RegistryKey& key) {
  settings_.proxy_host = ReadText(key, u"ProxyName");
  settings_.use_proxy = !settings_.proxy_host.empty();
  if (!settings_.use_proxy) return;
  settings_.proxy_port = ParseInt32(ReadText(key, u"ProxyPort"));
  settings_.proxy_user = ReadText(key, u"ProxyUser");
  settings_.proxy_password = ProxyPasswordFromStored(ReadText(key, u"ProxyPass"));
}

void CWebDAV::OpenConnection(TextView agent) {
  request_.reset();
  connection_.reset();
  session_.reset();
  AccessType access = AccessType::kDirect;
  Text proxy;
  if (settings_.use_proxy && !settings_.use_compression) {
    access = AccessType::kNamedProxy;
    proxy = Format(u"%s:%d", settings_.proxy_host, settings_.proxy_port);
  }
  session_ = std::make_unique<InternetSession>(agent, access, proxy);
  const TextView host = settings_.use_compression ? kRelayHost : settings_.server_host;
  const uint16_t port = settings_.use_compression ? kRelayPort
                        : settings_.use_ssl       ? kSecurePort
                                                  : kPlainPort;
  connection_ = std::make_unique<HttpConnection>(*session_, host, port, settings_.user_name,
                                                 settings_.password);
}

void CWebDAV::PrepareConnectionHandle() {
  Guarded(
      false,
      [&] {
        OpenConnection(kAgent);
        return true;
      },
      [&](const Failure& failure) {
        status_text_ = failure.text;
        debug_log_.WriteTrace(u"Error in PrepareConnectionHandle, Reason: %s", GetErrorMessage());
      });
}

Text CWebDAV::BasicCredentials() const {
  const std::string bytes = ToAnsi(settings_.user_name + u":" + settings_.password);
  return FromUtf8(EncodeBase64(bytes));
}

void CWebDAV::SetProxyCredentials() {
  if (!settings_.use_proxy || settings_.use_compression || settings_.proxy_user.empty() ||
      settings_.proxy_password.empty()) {
    return;
  }
  // The password counts as long as the user's name is: the product has always sent it so.
  const size_t length = settings_.proxy_user.size();
  request_->SetOption(kOptionProxyUser, settings_.proxy_user, length);
  request_->SetOption(kOptionProxyPassword, settings_.proxy_password, length);
}

void CWebDAV::SetTimeouts(uint32_t milliseconds) {
  request_->SetOption(kOptionConnectTimeout, milliseconds);
  request_->SetOption(kOptionReceiveTimeout, milliseconds);
  request_->SetOption(kOptionSendTimeout, milliseconds);
}

void CWebDAV::IgnoreCertificateRequest() {
  Guarded(
      false,
      [&] {
        const uint32_t flags = request_ ? request_->QueryOption(kOptionSecurityFlags) : 0;
        if (request_) request_->SetOption(kOptionSecurityFlags, flags | kIgnoreCertificateFlags);
        return true;
      },
      [&](const Failure&) {
        debug_log_.WriteTraceText(u"Exception in  IgnoreCertificateRequest");
      });
}

uint32_t CWebDAV::LoginToServer(TextView user, TextView password) {
  settings_.user_name = user;
  settings_.password = password;
  account_root_ = AccountRoot(user);
  PrepareConnectionHandle();
  ResetRequest();
  SetRequestFlags(kFlagNoCacheWrite, false);
  for (int16_t attempt = 1; attempt <= RetryCount() && !IsFinalLoginStatus(status_code_);
       ++attempt) {
    debug_log_.WriteTrace(u"Attempting login for the %d time", attempt);
    SendDAVRequest(u"OPTIONS", account_root_);
    ClearRequest();
  }
  return status_code_;
}

}  // namespace zv
