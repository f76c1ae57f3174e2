#include "config/folders.h"

#include "config/guard.h"
#include "config/settings.h"
#include "platform/format.h"
#include "platform/registry.h"
#include "platform/shell.h"

namespace zv {
namespace {

constexpr size_t kDriveRootUnits = 3;  // letter, colon, backslash
constexpr size_t kQuotaTextUnits = 512;

}  // namespace

Text GetApplicationPath() { return ReadSettingOrThrow(kApplicationKey, u"Application Path"); }

Text GetAppDataFolder() {
  return GuardedQuietly(Text(), [] {
    const Text local = LocalAppDataFolder();
    return local.empty() ? Text() : Format(u"%s\\Orvelan\\Cirrux", local);
  });
}

Text GetSyncFolderRoot() {
  if (!HasKeyOrThrow(kApplicationKey)) return Text();
  return Format(u"%sStratel Drive", GetApplicationPath().substr(0, kDriveRootUnits));
}

Text GetSyncQuotaFile() { return GetSyncFolderRoot() + u"\\ZVCOMMON\\quota.ini"; }

int64_t GetSyncUsedQuota() {
  return GuardedQuietly(int64_t{0}, [] {
    return ParseInt64(ReadProfileText(GetSyncQuotaFile(), kSyncQuotaSection, kSyncUsedQuotaEntry,
                                      kQuotaTextUnits));
  });
}

}  // namespace zv
