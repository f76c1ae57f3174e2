// Folders derived from the settings and the shell. Any thread; empty when unknown.
#pragma once

#include <cstdint>

#include "platform/text.h"

namespace zv {

// "Application Path" of the "\Application" key; empty when the key cannot be opened. Throws as
// ReadSettingOrThrow does: another folder's files are never taken for the cache's.
Text GetApplicationPath();
// <local application data>\Orvelan\Cirrux
Text GetAppDataFolder();
// First three characters of the application path + "Stratel Drive". Throws as the application path
// does.
Text GetSyncFolderRoot();
// Where a sync account's used bytes stand, and under which name.
Text GetSyncQuotaFile();
inline constexpr TextView kSyncQuotaSection = u"ZVSYNC", kSyncUsedQuotaEntry = u"ZVSyncUsedQuota";
// Used bytes of a sync account, from its quota file; 0 when missing.
int64_t GetSyncUsedQuota();

}  // namespace zv
