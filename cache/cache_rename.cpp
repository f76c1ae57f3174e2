#include "cache/cache_rename.h"

#include "platform/file.h"

namespace zv {
namespace {

// The name up to which a file belongs to the folder whatever follows after "#".
Text ContentStem(const CacheNames& names, TextView folder) {
  Text stem = names.GetFileRecordName(folder);
  stem.pop_back();
  return stem;
}

bool IsStemOf(TextView stem, TextView file) {
  if (!file.starts_with(stem)) return false;
  const TextView rest = file.substr(stem.size());
  return rest.empty() || rest.front() == u'#' || rest == kTimeFileSuffix;
}

}  // namespace

std::vector<Text> SubtreeFiles(const CacheNames& names, TextView folder) {
  const Text listing = names.GetDirRecordName(folder);
  const Text content = ContentStem(names, folder);
  std::vector<Text> files;
  for (const FileInfo& info : ListFolder(names.folder())) {
    const Text file = names.folder() + info.name;
    if (!info.is_folder && (IsStemOf(listing, file) || IsStemOf(content, file))) {
      files.push_back(file);
    }
  }
  return files;
}

Text SubtreeFileAfterRename(const CacheNames& names, TextView file, TextView old_path,
                            TextView new_path) {
  const Text old_listing = names.GetDirRecordName(old_path);
  if (IsStemOf(old_listing, file)) {
    return names.GetDirRecordName(new_path) + Text(file.substr(old_listing.size()));
  }
  return ContentStem(names, new_path) + Text(file.substr(ContentStem(names, old_path).size()));
}

}  // namespace zv
