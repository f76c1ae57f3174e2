// A sync account: what its settings say, and where its files lie. Any thread, no state.
#pragma once

#include "platform/text.h"
#include "platform/utility_library.h"

namespace zv {

// Which settings lose the blanks at their ends; the operations differ in that.
enum class SyncTrim { kNone, kServers, kAll };

// Secrets are in clear here and only here. Missing settings are empty; what cannot be read for want
// of memory or for a failing store throws.
struct SyncAccount {
  Text user_name;
  Text user;
  Text password;
  Text key;
  Text app_server;
  Text web_server;
  Text key_type;  // "DEFAULT" or "PRIVATE"
};

SyncAccount ReadSyncAccount(SyncTrim trim);

// Calls an entry point that takes nothing but the account.
int32_t CallUtility(UtilityCall entry, const SyncAccount& account);
int32_t CallUtilityList(UtilityListCall entry, const SyncAccount& account, void** entries);

// Folder of the copies that the utility library sends; no trailing backslash.
Text StagingFolder(TextView user_name);
// The same with the backslash that a file's name follows.
Text StagingPrefix(TextView user_name);

// Journals are one-line files in the sync data folder, which the utility library reads during the
// call that follows.
Text JournalPath(TextView journal);
// Writes a journal anew: the line and its end. False, with LastError(), when it cannot be made.
bool WriteJournal(TextView journal, TextView line);

}  // namespace zv
