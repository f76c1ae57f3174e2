#include "apps/zvdrive/drive/sync_rules.h"

#include "apps/zvdrive/drive/drive_path.h"

namespace zv {
namespace {

constexpr TextView kShell = u"explorer.exe";
constexpr TextView kNotTheShell = u"zvdrive";

}  // namespace

bool SyncRules::SendsFile(TextView path) const {
  if (!is_sync_) return true;
  const Text leaf = ToLower(LeafOf(path));
  const size_t dot = leaf.rfind(u'.');
  if (dot == Text::npos || dot == 0) return false;
  const TextView extension = TextView(leaf).substr(dot + 1);
  if (extension.starts_with(u"tmp")) return false;
  const bool is_office = extension.starts_with(u"doc") || extension.starts_with(u"ppt") ||
                         extension.starts_with(u"xls");
  return !is_office || !leaf.starts_with(u"~$");
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
