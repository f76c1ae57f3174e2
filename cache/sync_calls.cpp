// Journals written and entry points called for a sync account.
#include "cache/cache.h"
#include "platform/error.h"

namespace zv {

bool CCache::JournalWritten(TextView journal, TextView line, bool error_line) {
  if (WriteJournal(journal, line)) return true;
  LogNotOpened(JournalPath(journal), error_line);
  return false;
}

bool CCache::NameIsHandedOver(TextView path) {
  if (!IsCacheFileName(PathLeaf(path))) return true;
  trace_log_.WriteLog(LogLevel::kError,
                      u"Unable to hand over %s. Reason: Its name is one of the cache's own.", path);
  return false;
}

void CCache::LogNotOpened(TextView file, bool error_line) {
  const Text reason = GetLastErrorText();
  constexpr TextView kFormat = u"Unable to create/open file %s. Reason: %s";
  if (error_line) {
    trace_log_.WriteLog(LogLevel::kError, kFormat, file, reason);
  } else {
    trace_log_.WriteTrace(kFormat, file, reason);
  }
}

int32_t CCache::CallEntry(UtilityMember member, const UtilityEntry& entry,
                          const SyncAccount& account) {
  Text failure;
  const UtilityLibrary library = GetUtilityLibrary(true, &failure);
  const UtilityCall function = library.*member;
  if (function) return CallUtility(function, account);
  LogNoEntry(entry, failure);
  return 0;
}

void CCache::LogNoEntry(const UtilityEntry& entry, const Text& failure) {
  const TextView reason = failure.empty() ? u"It has no such entry point." : TextView(failure);
  trace_log_.WriteTrace(u"Unable to call entry point %d of the utility library ZVUtil. Reason: %s",
                        entry.ordinal, reason);
}

}  // namespace zv
