#include "apps/zvdrive/drive/sync_rules.h"

#include "config/file_names.h"

namespace zv {
namespace {

constexpr TextView kShell = u"explorer.exe";
constexpr TextView kNotTheShell = u"zvdrive";

}  // namespace

bool SyncRules::SendsFile(TextView path) const {
  return !is_sync_ || ClassifyFileName(path) == kOrdinaryName;
}

Text SyncRules::TellingProcess(TextView process) const { return Text(is_sync_ ? kShell : process); }

Text SyncRules::QuietProcess(TextView process) const {
  return Text(is_sync_ && EqualsNoCase(process, kShell) ? kNotTheShell : process);
}

Text SyncRules::EmptyFileProcess(TextView path, TextView process) const {
  return SendsFile(path) ? TellingProcess(process) : QuietProcess(process);
}

Text SyncRules::DeletedPath(TextView path, bool is_folder) const {
  return is_sync_ && is_folder ? Text(path) + u"\\" : Text(path);
}

}  // namespace zv
