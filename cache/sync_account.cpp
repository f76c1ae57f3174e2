#include "cache/sync_account.h"

#include "config/folders.h"
#include "config/secrets.h"
#include "config/settings.h"
#include "platform/file.h"
#include "platform/format.h"

namespace zv {
namespace {

constexpr const char16_t* kJournalSeparator = u"/";
constexpr TextView kDefaultKey = u"DEFAULT";

Text ReadValue(TextView name, bool trim) {
  Text value = ReadSettingOrThrow(kConnectionParameters, name);
  return trim ? Trim(value) : value;
}

}  // namespace

SyncAccount ReadSyncAccount(SyncTrim trim) {
  const bool trim_account = trim == SyncTrim::kAll;
  const bool trim_servers = trim != SyncTrim::kNone;
  SyncAccount account;
  account.user_name = ReadValue(u"UserName", trim_account);
  account.user = ReadValue(u"ZVSync_usr", trim_account);
  account.password = SyncSecretFromStored(ReadValue(u"ZVSync_psd", trim_account));
  const Text key_name = account.user_name + u"_ZVSync_enc";
  account.key = SyncSecretFromStored(ReadValue(key_name, trim_account));
  account.app_server = ReadValue(u"Appserver", trim_servers);
  account.web_server = ReadValue(u"WebServer", trim_servers);
  account.key_type = account.key == kDefaultKey ? kDefaultKey : u"PRIVATE";
  return account;
}

int32_t CallUtility(UtilityCall entry, const SyncAccount& account) {
  return entry(kJournalSeparator, account.user.c_str(), account.password.c_str(),
               account.key.c_str(), account.app_server.c_str(), account.web_server.c_str(),
               account.key_type.c_str());
}

int32_t CallUtilityList(UtilityListCall entry, const SyncAccount& account, void** entries) {
  return entry(kJournalSeparator, account.user.c_str(), account.password.c_str(),
               account.key.c_str(), account.app_server.c_str(), account.web_server.c_str(),
               account.key_type.c_str(), entries);
}

Text StagingFolder(TextView user_name) {
  return Format(u"%s\\cache@%s", GetSyncFolderRoot(), user_name);
}

Text StagingPrefix(TextView user_name) {
  return Format(u"%s\\cache@%s\\", GetSyncFolderRoot(), user_name);
}

Text JournalPath(TextView journal) { return Format(u"%s\\%s", GetSyncFolderRoot(), journal); }

bool WriteJournal(TextView journal, TextView line) {
  const Text path = JournalPath(journal);
  File file = File::Open(path, Access::kWrite, Disposition::kCreateAlways);
  if (!file && MakeFolders(GetSyncFolderRoot())) {
    file = File::Open(path, Access::kWrite, Disposition::kCreateAlways);
  }
  if (!file) return false;
  try {
    file.Write(ToUtf16LeBytes(Text(line) + u"\r\n"));
    file.CloseWritten();
  } catch (...) {
    // Half a path may be another one.
    file.Close();
    RemoveFile(path);
    throw;
  }
  return true;
}

}  // namespace zv
