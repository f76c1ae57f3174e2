// Folders derived from the settings and the shell. Any thread; empty when unknown. The first and
// the third throw as ReadSettingOrThrow does: another folder's files are never taken for theirs.
#pragma once

#include <cstdint>

#include "platform/text.h"

namespace zv {

// "Application Path" of the "\Application" key; empty when the key cannot be opened.
Text GetApplicationPath();
// <local application data>\Orvelan\Cirrux
Text GetAppDataFolder();
// First three characters of the application path + "Stratel Drive".
Text GetSyncFolderRoot();
// Used bytes of a sync account, from its quota file; 0 when missing.
int64_t GetSyncUsedQuota();

}  // namespace zv
