#include "zvutil/journal.h"

#include <algorithm>

#include "config/folders.h"
#include "platform/file.h"

namespace zv {

std::optional<Text> ReadJournal(TextView name) {
  const Text path = GetSyncFolderRoot() + u"\\" + Text(name);
  File file = File::Open(path, Access::kRead, Disposition::kOpenExisting);
  if (!file) return std::nullopt;
  Text line = FromUtf16LeBytes(file.ReadAll());
  line.resize(std::min(line.find_first_of(u"\r\n"), line.size()));
  if (line.empty()) return std::nullopt;
  return line;
}

std::optional<JournalEntry> ReadJournalEntry(TextView name) {
  constexpr size_t kMarkUnits = 2;
  const auto line = ReadJournal(name);
  if (!line || line->size() == kMarkUnits) return std::nullopt;
  const bool is_folder = line->starts_with(u"D_");
  if (!is_folder && !line->starts_with(u"F_")) return std::nullopt;
  return JournalEntry{.is_folder = is_folder, .path = line->substr(kMarkUnits)};
}

}  // namespace zv
