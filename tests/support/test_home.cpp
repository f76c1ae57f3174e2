#include "tests/support/test_home.h"

#include <stdexcept>

#include "platform/file.h"
#include "platform/registry.h"
#include "platform/registry_testing.h"
#include "platform/shell.h"

namespace zv::testing {
namespace {

RegistryKey OpenProductKey(TextView sub_key) {
  auto key = RegistryKey::Open(Text(kProductKey) + Text(sub_key), KeyMode::kOpenOrCreate);
  if (!key) throw std::runtime_error("the settings cannot be opened");
  return std::move(*key);
}

constexpr size_t kLongestSetting = 4096;

Text YesNo(bool value) { return value ? u"1" : u"0"; }

}  // namespace

Text RaiseBy20(TextView text) {
  Text result(text);
  for (char16_t& unit : result) unit = static_cast<char16_t>(unit + 20);
  return result;
}

void TestHome::SetSetting(TextView sub_key, TextView name, TextView text) const {
  const std::string data = ToUtf16LeBytes(Text(text) + Text(1, u'\0'));
  if (!OpenProductKey(sub_key).Write(name, kRegSz, data)) {
    throw std::runtime_error("a setting cannot be written");
  }
}

void TestHome::RemoveSetting(TextView sub_key, TextView name) const {
  RemoveUserValue(Text(kProductKey) + Text(sub_key), name);
}

std::optional<Text> TestHome::Setting(TextView sub_key, TextView name) const {
  const auto value = OpenProductKey(sub_key).Read(name, kLongestSetting);
  if (!value) return std::nullopt;
  Text text = FromUtf16LeBytes(value->data);
  if (!text.empty() && text.back() == u'\0') text.pop_back();
  return text;
}

void TestHome::SetAccount(TextView host, TextView user, TextView password,
                          const AccountOptions& options) const {
  const auto connection = [this](TextView name, TextView text) {
    SetSetting(kConnectionSubKey, name, text);
  };
  const Text user_name(user);
  connection(u"UserName", user_name);
  connection(u"Password", RaiseBy20(Text(password) + u":" + user_name));
  connection(u"SSL", YesNo(options.ssl));
  connection(u"CurrentUser", user_name);
  connection(user_name, Text(host) + u";");
  connection(u"Account_Type", options.account_type);
  if (options.account_type == u"ZVSYNC") connection(u"WebServer", host);
  connection(u"ProxyName", options.proxy_name);
  if (!options.proxy_name.empty()) {
    connection(u"ProxyPort", FromUtf8(std::to_string(options.proxy_port)));
    connection(u"ProxyUser", options.proxy_user);
    connection(u"ProxyPass", RaiseBy20(u"Prefix" + options.proxy_password));
  }
  SetSetting(kSettingsSubKey, u"Faster with Compression", YesNo(options.compression));
  SetSetting(kSettingsSubKey, u"Intelligent Cache", YesNo(options.check_freshness));
  SetSetting(kApplicationSubKey, u"Application Path", kTestApplicationPath);
}

Text TestHome::LogFolder() const { return LocalAppDataFolder() + u"\\Orvelan\\Cirrux\\Log\\"; }

Text TestHome::CacheFolder(TextView user) const {
  return Text(kTestApplicationPath) + u"\\Cache@" + Text(user) + u"\\";
}

Text TestHome::LogText(TextView file_name) const {
  const auto bytes = ReadFileBytes(LogFolder() + Text(file_name));
  Text text = bytes ? FromUtf16LeBytes(*bytes) : Text();
  if (!text.empty() && text.front() == u'\xFEFF') text.erase(0, 1);
  return text;
}

bool TestHome::LogHasLine(TextView file_name, TextView line) const {
  const Text text = LogText(file_name);
  const Text wanted = Text(line) + u"\r\n";
  for (size_t at = text.find(wanted); at != Text::npos; at = text.find(wanted, at + 1)) {
    const TextView before = TextView(text).substr(0, at);
    if (before.empty() || before.ends_with(u"\r\n")) return true;
    // "Error       : 11/15/2026 14:03:09 : " stands before the message of a level line.
    const TextView prefix = before.substr(before.rfind(u'\n') + 1);
    if (prefix.size() == 36 && prefix.ends_with(u" : ")) return true;
  }
  return false;
}

std::optional<std::string> ReadFileBytes(TextView path) {
  File file = File::Open(path, Access::kRead, Disposition::kOpenExisting);
  if (!file) return std::nullopt;
  return file.ReadAll();
}

void WriteFileBytes(TextView path, std::string_view bytes) {
  if (const size_t leaf = path.rfind(u'\\'); leaf != TextView::npos && leaf > 2) {
    MakeFolders(path.substr(0, leaf));
  }
  File file = File::Open(path, Access::kWrite, Disposition::kCreateAlways);
  if (!file) throw std::runtime_error("cannot write " + ToUtf8(path));
  file.Write(bytes);
}

}  // namespace zv::testing
