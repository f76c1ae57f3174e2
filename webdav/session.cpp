// From the settings to an open connection, and the login probe.
#include "config/secrets.h"
#include "config/settings.h"
#include "platform/registry.h"
#include "webdav/http_status.h"
#include "webdav/retry.h"
#include "webdav/url.h"
#include "webdav/webdav.h"

namespace zv {
namespace {

constexpr TextView kAgent = u"Cirrux App";
constexpr TextView kRelayHost = u"127.0.0.1";
constexpr uint16_t kRelayPort = 53729;
constexpr uint16_t kSecurePort = 443;
constexpr uint16_t kPlainPort = 80;
constexpr size_t kCurrentUserBytes = 1040;
constexpr int16_t kRetryCount = 3;
constexpr int16_t kRetryWaitMs = 5000;

// The host of an ordinary account stands in the value that "CurrentUser" names.
Text ServerHost(const RegistryKey& connection) {
  const bool is_sync = ReadKeyText(connection, u"Account_Type") == kSyncAccount;
  if (is_sync) return ReadKeyText(connection, u"WebServer");
  const Text value_name = ReadKeyText(connection, u"CurrentUser", kCurrentUserBytes);
  return HostOfServerValue(ReadKeyText(connection, value_name));
}

void ReadProxy(const RegistryKey& connection, ConnectionSettings& settings) {
  settings.proxy_host = ReadKeyText(connection, u"ProxyName");
  settings.use_proxy = !settings.proxy_host.empty();
  if (!settings.use_proxy) return;
  settings.proxy_port = ParseInt32(ReadKeyText(connection, u"ProxyPort"));
  settings.proxy_user = ReadKeyText(connection, u"ProxyUser");
  settings.proxy_password = ProxyPasswordFromStored(ReadKeyText(connection, u"ProxyPass"));
}

bool EndsLogin(uint32_t status) {
  return status == kStatusOk || status == kStatusUnauthorized || status == kStatusForbidden ||
         status == kStatusProxyAuthentication;
}

}  // namespace

CWebDAV::CWebDAV() : debug_log_(u"DavDebug.txt"), user_log_(u"UserLog.txt") {
  Guarded(
      [&] {
        if (!xml_.is_valid()) {
          debug_log_.WriteTrace(u"Could not create MSXML dll instance, Reason: %ld",
                                xml_.failure_code());
          return;
        }
        if (!ReadConnectionSettings()) {
          debug_log_.WriteTrace(u"Could not read registry for connection details, Reason : %s",
                                GetLastErrorText());
          return;
        }
        account_root_ = AccountRoot(settings_.user_name);
        CWebDAV::PrepareConnectionHandle();
      },
      [&](const Failure& failure) {
        NoteSetUpFailure(failure);
        debug_log_.WriteTrace(u"Error in CWebDAV constructor, Reason : %s", failure.text);
      });
  ThrowIfSetUpLackedMemory();
}

CWebDAV::~CWebDAV() = default;

bool CWebDAV::ReadConnectionSettings() {
  return Guarded(
      false,
      [&] {
        const Text product(kProductKey);
        const auto connection =
            RegistryKey::Open(product + Text(kConnectionParameters), KeyMode::kOpen);
        if (!connection) return false;
        const auto preferences = RegistryKey::Open(product + Text(kSettingsKey), KeyMode::kOpen);
        if (!preferences) return false;
        settings_.user_name = ReadKeyText(*connection, u"UserName");
        settings_.password = PasswordFromStored(ReadKeyText(*connection, u"Password"));
        settings_.use_ssl = ParseInt32(ReadKeyText(*connection, u"SSL")) != 0;
        settings_.use_compression =
            (ParseInt32(ReadKeyText(*preferences, u"Faster with Compression")) & 1) != 0;
        settings_.server_host = ServerHost(*connection);
        ReadProxy(*connection, settings_);
        SetRetrySettings(kRetryCount, kRetryWaitMs);
        return true;
      },
      [&](const Failure& failure) {
        NoteSetUpFailure(failure);
        settings_ = {};
        debug_log_.WriteTrace(u"Exception reading registry, Reason : %s", failure.text);
      });
}

void CWebDAV::PrepareConnectionHandle() {
  Guarded([&] { OpenConnection(kAgent); },
          [&](const Failure& failure) {
            NoteSetUpFailure(failure);
            status_text_ = failure.text;
            debug_log_.WriteTrace(u"Error in PrepareConnectionHandle, Reason: %s",
                                  GetErrorMessage());
          });
}

void CWebDAV::OpenConnection(TextView agent) {
  request_.reset();
  connection_.reset();
  session_.reset();
  const bool named_proxy = settings_.use_proxy && !settings_.use_compression;
  session_ = std::make_unique<InternetSession>(
      agent, named_proxy ? AccessType::kNamedProxy : AccessType::kDirect,
      named_proxy ? Format(u"%s:%d", settings_.proxy_host, settings_.proxy_port) : Text());
  TextView host = settings_.server_host;
  uint16_t port = settings_.use_ssl ? kSecurePort : kPlainPort;
  if (settings_.use_compression) {
    host = kRelayHost;
    port = kRelayPort;
  }
  connection_ = std::make_unique<HttpConnection>(*session_, host, port, settings_.user_name,
                                                 settings_.password);
}

uint32_t CWebDAV::LoginToServer(TextView user, TextView password) {
  return Guarded(
      uint32_t{0},
      [&] {
        settings_.user_name = user;
        settings_.password = password;
        account_root_ = AccountRoot(settings_.user_name);
        PrepareConnectionHandle();
        ResetRequest();
        SetRequestFlags(kFlagNoCacheWrite, false);
        // The header block is not emptied between the attempts: each adds its Authorization line.
        for (int attempt = 1; attempt <= RetryCount() && !EndsLogin(status_code_); ++attempt) {
          debug_log_.WriteTrace(u"Attempting login for the %d time", attempt);
          SendDAVRequest(u"OPTIONS", account_root_);
          ClearRequest();
        }
        return status_code_;
      },
      [&](const Failure& failure) { status_text_ = failure.text; });
}

}  // namespace zv
