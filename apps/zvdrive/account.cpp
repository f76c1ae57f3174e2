#include "apps/zvdrive/account.h"

#include <algorithm>
#include <vector>

#include "apps/zvdrive/commands.h"
#include "config/folders.h"
#include "config/secrets.h"
#include "config/settings.h"
#include "platform/error.h"
#include "platform/format.h"
#include "platform/utility_library.h"

namespace zv {
namespace {

constexpr TextView kDefaultDriveLetter = u"Z:";
constexpr TextView kDefaultApplicationPath = u"C:\\ZVWorker";
constexpr TextView kProxyPasswordPrefix = u"zvpxy:";  // six characters that reading drops

struct Write {
  TextView sub_key;
  Text name;
  Text value;
};
using Writes = std::vector<Write>;

// What cannot be read is not taken for what is not set.
Text Setting(TextView sub_key, TextView name) {
  try {
    return ReadSettingOrThrow(sub_key, name);
  } catch (const Error& error) {
    throw CommandError("the account's settings cannot be read: " + ToUtf8(error.text()));
  }
}

bool IsSyncAccount() { return Setting(kConnectionParameters, u"Account_Type") == kSyncAccount; }

Text Flag(bool on) { return on ? u"1" : u"0"; }

// The server stands in a value named by the user: a user named like a setting would overwrite it.
bool IsSettingName(TextView user) {
  const auto settings = AllSettings();
  return std::any_of(settings.begin(), settings.end(), [&](const SettingInfo& setting) {
    return setting.sub_key == kConnectionParameters && EqualsNoCase(setting.name, user);
  });
}

bool IsAscii(TextView text) {
  return std::all_of(text.begin(), text.end(), [](char16_t c) { return c < 0x80; });
}

std::string CheckIdentity(const AccountChanges& changes, TextView user, TextView server) {
  if (changes.user && (user.empty() || user.find_first_of(u":/\\?#%; ") != Text::npos)) {
    return "a user name is a word without blanks and without any of : / \\ ? # % ;";
  }
  // Signing on gives the name in the system's 8-bit code and the path gives it in UTF-8.
  if (changes.user && !IsAscii(user)) {
    return "a user name is of ASCII characters only: servers would read another name";
  }
  if (changes.user && IsSettingName(user)) return "this user name is reserved";
  if (changes.server && (server.empty() || server.find_first_of(u"/;: ") != Text::npos)) {
    return "a server is a host name or an address, without scheme, port or path";
  }
  if (changes.server && user.empty()) return "a server needs a user: give --user as well";
  if (changes.password && changes.password->empty()) return "an empty password signs nobody on";
  // The stored form ends at the first ":", so that every later request would fail.
  if (changes.password && changes.password->find(u':') != Text::npos) {
    return "a password with \":\" cannot be stored; change it on the server first";
  }
  if (changes.password && user.empty()) return "a password needs a user: give --user as well";
  if (changes.sync == true && user.empty())
    return "a sync account needs a user: give --user as well";
  return {};
}

bool IsPort(TextView text) {
  constexpr TextView kDigits = u"0123456789";
  const int32_t number = ParseInt32(text);
  return text.find_first_not_of(kDigits) == Text::npos && number >= 1 && number <= 65535;
}

std::string AddProxy(const AccountChanges& changes, Writes& writes) {
  if (changes.proxy) {
    const size_t colon = std::min(changes.proxy->rfind(u':'), changes.proxy->size());
    const Text host = changes.proxy->substr(0, colon);
    const Text port = changes.proxy->substr(std::min(colon + 1, changes.proxy->size()));
    const bool is_place =
        !host.empty() && host.find_first_of(u"/;: ") == Text::npos && IsPort(port);
    if (!changes.proxy->empty() && !is_place) return "a proxy is given as HOST:PORT";
    writes.push_back({kConnectionParameters, u"ProxyName", host});
    writes.push_back({kConnectionParameters, u"ProxyPort", port});
  }
  if (changes.proxy_user) {
    writes.push_back({kConnectionParameters, u"ProxyUser", *changes.proxy_user});
  }
  if (changes.proxy_password) {
    writes.push_back({kConnectionParameters, u"ProxyPass",
                      ShiftSecret(Text(kProxyPasswordPrefix) + *changes.proxy_password)});
  }
  return {};
}

// The server of an ordinary account, which stands in a value of this name.
Text ServerOf(TextView user) {
  return HostOfServerValue(user.empty() ? Text() : Setting(kConnectionParameters, user));
}

void AddIdentity(const AccountChanges& changes, const Text& user, Writes& writes) {
  if (changes.user) {
    writes.push_back({kConnectionParameters, u"UserName", user});
    writes.push_back({kConnectionParameters, u"CurrentUser", user});
    writes.push_back({kConnectionParameters, u"ZVSync_usr", user});
    // Another user of the same server.
    const Text server = ServerOf(Setting(kConnectionParameters, u"CurrentUser"));
    if (!changes.server && ServerOf(user).empty() && !server.empty()) {
      writes.push_back({kConnectionParameters, user, server + u";"});
    }
  }
  if (changes.server) {
    writes.push_back({kConnectionParameters, user, *changes.server + u";"});
    writes.push_back({kConnectionParameters, u"WebServer", *changes.server});
    writes.push_back({kConnectionParameters, u"Appserver", *changes.server});
  }
  if (changes.password) {
    writes.push_back(
        {kConnectionParameters, u"Password", ShiftSecret(*changes.password + u":" + user)});
    writes.push_back(
        {kConnectionParameters, u"ZVSync_psd", ShiftSecret(*changes.password + u":" + user)});
  }
}

void AddSwitches(const AccountChanges& changes, const Text& user, Writes& writes) {
  const auto add_flag = [&](const std::optional<bool>& flag, TextView key, const char16_t* name) {
    if (flag) writes.push_back({key, name, Flag(*flag)});
  };
  add_flag(changes.ssl, kConnectionParameters, u"SSL");
  add_flag(changes.relay, kSettingsKey, u"Faster with Compression");
  if (changes.sync) {
    writes.push_back(
        {kConnectionParameters, u"Account_Type", Text(*changes.sync ? kSyncAccount : TextView())});
  }
  // The utility library stores contents as they are: the account's own key is not asked for.
  const bool is_sync = changes.sync.value_or(IsSyncAccount());
  if (is_sync && (changes.sync || changes.user)) {
    writes.push_back({kConnectionParameters, user + u"_ZVSync_enc", ShiftSecret(u"DEFAULT")});
  }
  if (changes.quota) {
    writes.push_back({kConnectionParameters, u"Quota", Format(u"%I64d", *changes.quota)});
  }
  // A fresh account keeps its listings fresh unless told not to.
  const bool cache_is_unset = Setting(kSettingsKey, u"Intelligent Cache").empty();
  add_flag(changes.cache    ? changes.cache
           : cache_is_unset ? std::optional(true)
                            : std::nullopt,
           kSettingsKey, u"Intelligent Cache");
  // The keys that the worker opens must exist.
  if (!changes.relay && Setting(kSettingsKey, u"Faster with Compression").empty()) {
    writes.push_back({kSettingsKey, u"Faster with Compression", u"0"});
  }
}

bool IsDriveLetter(TextView text) {
  return text.size() == 2 && text[1] == u':' && ToLower(text[0]) >= u'a' &&
         ToLower(text[0]) <= u'z';
}

bool IsDrivePath(TextView text) {
  return text.size() > 3 && IsDriveLetter(text.substr(0, 2)) && text[2] == u'\\';
}

std::string AddPlaces(const AccountChanges& changes, Writes& writes) {
  if (changes.drive_letter) {
    const Text& letter = *changes.drive_letter;
    if (!IsDriveLetter(letter)) {
      return "a drive letter is given as a letter and a colon, for example Z:";
    }
    writes.push_back({kConnectionParameters, u"Local Name", letter});
  } else if (Setting(kConnectionParameters, u"Local Name").empty()) {
    writes.push_back({kConnectionParameters, u"Local Name", Text(kDefaultDriveLetter)});
  }
  if (changes.application_path && !IsDrivePath(*changes.application_path)) {
    return "an application path is given from its drive on, for example C:\\ZVWorker";
  }
  if (changes.application_path || GetApplicationPath().empty()) {
    writes.push_back({kApplicationKey, u"Application Path",
                      changes.application_path.value_or(Text(kDefaultApplicationPath))});
  }
  if (Setting(kConnectionParameters, u"UNC Server").empty()) {
    writes.push_back({kConnectionParameters, u"UNC Server", u"cirrux"});
    writes.push_back({kConnectionParameters, u"UNC Share", u"drive"});
  }
  return {};
}

std::string Row(const char* title, const std::string& value) {
  std::string row = title;
  row.resize(18, ' ');
  return row + (value.empty() ? "-" : value) + "\n";
}

// What serves a sync account, and whether it is there.
std::string DescribeUtilityLibrary() {
  Text failure;
  if (GetUtilityLibrary(true, &failure).list) return "ZVUtil, this project's own";
  return "ZVUtil is missing" + (failure.empty() ? "" : ": " + ToUtf8(failure));
}

std::string YesNo(bool yes) { return yes ? "yes" : "no"; }

}  // namespace

std::string SetAccount(const AccountChanges& changes) {
  if (changes == AccountChanges{}) {
    return "nothing to set: give at least one option (zvdrive account set --help lists them)";
  }
  const Text user = changes.user.value_or(Setting(kConnectionParameters, u"UserName"));
  if (std::string wrong = CheckIdentity(changes, user, changes.server.value_or(u""));
      !wrong.empty()) {
    return wrong;
  }
  if (changes.quota && *changes.quota < 0) return "a quota is a number of bytes, 0 or more";
  Writes writes;
  AddIdentity(changes, user, writes);
  AddSwitches(changes, user, writes);
  if (std::string wrong = AddProxy(changes, writes); !wrong.empty()) return wrong;
  if (std::string wrong = AddPlaces(changes, writes); !wrong.empty()) return wrong;
  // A longer one would read as missing.
  constexpr size_t kLongestValue = kSettingBufferBytes / sizeof(char16_t) - 1;
  for (const Write& write : writes) {
    if (write.value.size() > kLongestValue) {
      return "\"" + ToUtf8(write.name) + "\" is too long to be stored";
    }
  }
  for (const Write& write : writes) {
    if (!WriteRegistryString(write.sub_key, write.name, write.value)) {
      throw CommandError("the setting \"" + ToUtf8(write.name) +
                         "\" cannot be written: " + ToUtf8(GetLastErrorText()));
    }
  }
  return {};
}

Account ReadAccount() {
  Account account;
  account.user = Setting(kConnectionParameters, u"UserName");
  account.is_sync = IsSyncAccount();
  const Text server =
      Setting(kConnectionParameters, Setting(kConnectionParameters, u"CurrentUser"));
  account.server =
      account.is_sync ? Setting(kConnectionParameters, u"WebServer") : HostOfServerValue(server);
  account.password = PasswordFromStored(Setting(kConnectionParameters, u"Password"));
  account.drive_letter = Setting(kConnectionParameters, u"Local Name");
  if (account.drive_letter.empty()) account.drive_letter = kDefaultDriveLetter;
  account.remote_name = ReadRemoteName();
  return account;
}

std::string DescribeAccount() {
  const Account account = ReadAccount();
  const auto setting = [](const char16_t* name) {
    return ToUtf8(Setting(kConnectionParameters, name));
  };
  const bool ssl = ParseInt32(Setting(kConnectionParameters, u"SSL")) != 0;
  const bool relay = (ParseInt32(Setting(kSettingsKey, u"Faster with Compression")) & 1) != 0;
  const std::string proxy = setting(u"ProxyName");
  std::string text;
  text += Row("server", ToUtf8(account.server));
  text += Row("user", ToUtf8(account.user));
  text += Row("password", account.password.empty() ? "not set" : "set");
  text += Row("type", account.is_sync ? "sync" : "ordinary");
  if (account.is_sync) text += Row("served by", DescribeUtilityLibrary());
  text += Row("ssl", YesNo(ssl));
  text += Row("relay", YesNo(relay));
  text += Row("proxy", proxy.empty() ? "" : proxy + ":" + setting(u"ProxyPort"));
  text += Row("proxy user", setting(u"ProxyUser"));
  text += Row("quota", setting(u"Quota").empty() ? "" : setting(u"Quota") + " bytes");
  text += Row("cache", YesNo(Setting(kSettingsKey, u"Intelligent Cache") == u"1"));
  text += Row("drive", ToUtf8(account.drive_letter));
  text += Row("application path", ToUtf8(GetApplicationPath()));
  return text;
}

}  // namespace zv
