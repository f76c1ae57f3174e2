#include "apps/zvdrive/drive/name_guard.h"

#include "apps/zvdrive/drive/drive_path.h"

namespace zv {

bool NameGuard::ClaimName(Text name, TextView path) {
  const auto [owner, added] = owners_.try_emplace(std::move(name), path);
  return added || owner->second == path;
}

bool NameGuard::Claim(TextView path, bool is_folder) {
  const Text folded = path == kDriveRoot ? Text() : ToLower(ReplaceAll(path, u'\\', u'#'));
  if (!is_folder) return ClaimName(u"file" + folded, path);
  // A folder's time file is named like the listing of a folder with ".time" at its end.
  return ClaimName(u"dir" + folded, path) && ClaimName(u"dir" + folded + u".time", path);
}

void NameGuard::Release(TextView path) {
  std::erase_if(owners_, [&](const auto& owner) { return IsWithin(owner.second, path); });
}

}  // namespace zv
