#include "config/settings.h"

#include "config/guard.h"
#include "platform/error.h"
#include "platform/registry.h"

namespace zv {
namespace {

// A key path is put together in a buffer of 255 units.
constexpr size_t kLongestKeyPath = 254;
// As the system itself writes it: keys are found whatever their case.
constexpr TextView kQuotaKey = u"SOFTWARE\\Orve-Lan\\Cirrux\\Connection Parameters";
constexpr TextView kDefaultRemoteName = u"\\\\cirrux\\drive";
constexpr size_t kQuotaBufferBytes = 100;
constexpr size_t kUsedQuotaBufferBytes = 2000;

Text KeyPath(TextView sub_key) {
  return Text(kProductKey).append(sub_key).substr(0, kLongestKeyPath);
}

// A text value's data: empty, or whole units of which the last is the terminator.
bool TextFromValue(const RegistryValue& value, Text* text) {
  if (value.type != kRegSz && value.type != kRegExpandSz) return false;
  if (value.data.empty()) {
    text->clear();
    return true;
  }
  if (value.data.size() % 2 != 0) return false;
  Text units = FromUtf16LeBytes(value.data);
  if (units.back() != u'\0') return false;
  units.resize(units.find(u'\0'));
  *text = std::move(units);
  return true;
}

// After a read that gave nothing: whether there is nothing cannot be told then.
void ThrowIfSystemFailed() {
  if (IsSystemFailure(LastError())) ThrowLastError(ErrorKind::kOther);
}

std::optional<RegistryKey> OpenKeyOrThrow(TextView sub_key) {
  auto key = RegistryKey::Open(KeyPath(sub_key), KeyMode::kOpen);
  if (!key) ThrowIfSystemFailed();
  return key;
}

constexpr SettingInfo kSettings[] = {
    {kConnectionParameters, u"UserName", u"text", u"", u"Account user name."},
    {kConnectionParameters, u"Password", u"secret", u"",
     u"Account password and \":\" and more, every character raised by 20."},
    {kConnectionParameters, u"SSL", u"flag", u"0", u"HTTPS on port 443 when not 0."},
    {kConnectionParameters, u"CurrentUser", u"text", u"",
     u"Name of the value that holds this user's server."},
    {kConnectionParameters, u"<CurrentUser>", u"text", u"",
     u"Server host, then \";\" and anything."},
    {kConnectionParameters, u"<user>", u"text", u"",
     u"Script server host for folder sizes, then \";\" and anything."},
    {kConnectionParameters, u"Account_Type", u"text", u"",
     u"\"ZVSYNC\" makes it a sync account; anything else an ordinary one."},
    {kConnectionParameters, u"WebServer", u"text", u"", u"Server host of a sync account."},
    {kConnectionParameters, u"Appserver", u"text", u"", u"Application server of a sync account."},
    {kConnectionParameters, u"ZVSync_usr", u"text", u"", u"User of a sync account."},
    {kConnectionParameters, u"ZVSync_psd", u"secret", u"",
     u"Password of a sync account, every character raised by 20."},
    {kConnectionParameters, u"<user>_ZVSync_enc", u"secret", u"",
     u"Key setting of a sync account, every character raised by 20; \"DEFAULT\" selects the "
     u"default key."},
    {kConnectionParameters, u"ProxyName", u"text", u"", u"Proxy host; empty: no proxy."},
    {kConnectionParameters, u"ProxyPort", u"port", u"0", u"Proxy port."},
    {kConnectionParameters, u"ProxyUser", u"text", u"", u"Proxy user."},
    {kConnectionParameters, u"ProxyPass", u"secret", u"",
     u"Six characters and the proxy password, every character raised by 20."},
    {kConnectionParameters, u"Local Name", u"text", u"", u"Drive letter and colon of the drive."},
    {kConnectionParameters, u"Remote Name", u"text", kDefaultRemoteName,
     u"Network name that the drive answers to."},
    {kConnectionParameters, u"UNC Server", u"text", u"",
     u"Server part of the drive's network path."},
    {kConnectionParameters, u"UNC Share", u"text", u"", u"Share part of the drive's network path."},
    {kConnectionParameters, u"Quota", u"bytes", u"0",
     u"Account quota; the user's value goes before the machine's."},
    {kConnectionParameters, u"OLdUsedQuota", u"bytes", u"",
     u"Used space; without it the last listing's figure counts."},
    {kSettingsKey, u"Faster with Compression", u"flag", u"0",
     u"All traffic through the local compression relay when odd."},
    {kSettingsKey, u"Intelligent Cache", u"flag", u"",
     u"\"1\": listings are compared with the server's time before they are served."},
    {kApplicationKey, u"Application Path", u"text", u"",
     u"Folder of the host application, which holds the cache; below \\Program Files the drive's "
     u"\\Stratel Drive holds it instead."},
};

}  // namespace

Text ReadKeyText(const RegistryKey& key, TextView value_name, size_t buffer_bytes) {
  const auto data = key.Read(value_name, buffer_bytes);
  if (!data) ThrowIfSystemFailed();
  Text text;
  if (data) TextFromValue(*data, &text);
  return text;
}

bool ReadRegistryString(TextView sub_key, TextView value_name, Text* value) {
  return GuardedQuietly(false, [&] {
    const auto key = RegistryKey::Open(KeyPath(sub_key), KeyMode::kOpen);
    if (!key) return false;
    const auto data = key->Read(value_name, kSettingBufferBytes);
    return data && TextFromValue(*data, value);
  });
}

Text ReadSetting(TextView sub_key, TextView value_name) {
  Text value;
  ReadRegistryString(sub_key, value_name, &value);
  return value;
}

bool WriteRegistryString(TextView sub_key, TextView value_name, TextView value) {
  return GuardedQuietly(false, [&] {
    const Text path = KeyPath(sub_key);
    auto key = RegistryKey::Open(path, KeyMode::kOpen);
    if (!key) key = RegistryKey::Open(path, KeyMode::kOpenOrCreate);
    Text terminated(value);
    terminated += u'\0';
    return key && key->Write(value_name, kRegSz, ToUtf16LeBytes(terminated));
  });
}

Text ReadSettingOrThrow(TextView sub_key, TextView value_name, size_t buffer_bytes) {
  const auto key = OpenKeyOrThrow(sub_key);
  return key ? ReadKeyText(*key, value_name, buffer_bytes) : Text();
}

bool HasKeyOrThrow(TextView sub_key) { return OpenKeyOrThrow(sub_key).has_value(); }

Text ReadAccountType() { return ReadSetting(kConnectionParameters, u"Account_Type"); }

Text HostOfServerValue(TextView value) {
  const size_t end = value.find(u';');
  return end == TextView::npos ? Text() : Text(value.substr(0, end));
}

Text ReadRemoteName() {
  const Text name = ReadSetting(kConnectionParameters, u"Remote Name");
  return name.empty() ? Text(kDefaultRemoteName) : name;
}

std::optional<int64_t> ReadStoredUsedQuota() {
  return GuardedQuietly(std::optional<int64_t>(), []() -> std::optional<int64_t> {
    const auto key =
        RegistryKey::Open(Text(kProductKey).append(kConnectionParameters), KeyMode::kOpenOrCreate);
    const auto data = key ? key->Read(u"OLdUsedQuota", kUsedQuotaBufferBytes) : std::nullopt;
    Text text;
    if (!data || !TextFromValue(*data, &text)) return std::nullopt;
    return ParseInt64(text);
  });
}

int64_t ReadAccountQuota() {
  return GuardedQuietly(int64_t{0}, [] {
    const auto text = ReadPerUserText(kQuotaKey, u"Quota", kQuotaBufferBytes);
    return text ? ParseInt64(*text) : int64_t{0};
  });
}

std::span<const SettingInfo> AllSettings() { return kSettings; }

}  // namespace zv
