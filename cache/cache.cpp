#include "cache/cache.h"

#include "cache/time_file.h"
#include "config/folders.h"
#include "config/settings.h"
#include "platform/file.h"
#include "worker/progress.h"

namespace zv {

CCache::CCache()
    : cache_enabled_(ReadSettingOrThrow(kSettingsKey, u"Intelligent Cache") == u"1"),
      server_(std::make_unique<CBackupDAV>()),
      trace_log_(u"CacheDebug.txt"),
      pending_(names_) {
  if (!FileExists(names_.folder())) MakeFolders(names_.folder());
}

CCache::~CCache() = default;

bool CCache::is_sync() const { return account_type_ == kSyncAccount; }

bool CCache::ReadIsSync() {
  try {
    account_type_ = ReadSettingOrThrow(kConnectionParameters, u"Account_Type");
  } catch (...) {
    if (!account_type_) throw;
  }
  return is_sync();
}

void CCache::ForgetFolderState() {
  last_checked_folder_.clear();
  file_list_source_.clear();
}

bool CCache::GetUsedSpaceDetails(int64_t* quota, int64_t* used) {
  return Guarded(
      false,
      [&] {
        if (ReadIsSync()) {
          *quota = 0;
          *used = GetSyncUsedQuota();
          SetUsedSpaceMib(static_cast<uint64_t>(*used / kBytesPerMib));
          return true;
        }
        if (server_->GetUsedQuota(quota, used)) return true;
        CacheFolderContents(u"/");
        server_->GetUsedQuota(quota, used);
        return true;
      },
      TraceFileFailure(u"%s", u"Exception while getting used space details!"));
}

bool CCache::SetFileTimeEntry(TextView path, FileTime time) {
  return Guarded(
      false, [&] { return zv::SetFileTimeEntry(names_, path, time); },
      TraceFileFailure(u"%s", u"Exception in SetFileTimeEntry!"));
}

bool CCache::GetFileTimeEntry(TextView path, FileTime* time) {
  return Guarded(
      false, [&] { return zv::GetFileTimeEntry(names_, path, time); },
      TraceFileFailure(u"Exception in GetFileTimeEntry : %s", u"Exception in GetFileTimeEntry!"));
}

uint32_t CCache::CompareFileTime(FileTime first, FileTime second) {
  return Guarded(
      0U, [&] { return zv::CompareFileTime(first, second); },
      TraceFileFailure(u"Exception in CompareFileTime : %s", u"Exception in CompareFileTime!"));
}

}  // namespace zv
