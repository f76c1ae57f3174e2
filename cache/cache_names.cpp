#include "cache/cache_names.h"

#include <algorithm>
#include <iterator>

#include "config/folders.h"
#include "config/settings.h"
#include "platform/format.h"

namespace zv {
namespace {

struct ReservedUnit {
  char16_t unit;
  TextView encoded;
};
constexpr ReservedUnit kReserved[] = {{u'\x22', u"%22"}, {u'*', u"%2A"},  {u'/', u"%2F"},
                                      {u':', u"%3A"},    {u'<', u"%3C"},  {u'>', u"%3E"},
                                      {u'?', u"%3F"},    {u'\\', u"%5C"}, {u'|', u"%7C"}};

// Installed under Program Files, the cache lives outside it, in a product folder at the drive's
// root.
Text CacheBaseFolder() {
  Text base = GetApplicationPath();
  const size_t program_files = base.find(u"\\Program Files");
  if (program_files == Text::npos) return base;
  base.resize(program_files);
  return base + u"\\Stratel Drive";
}

}  // namespace

Text EncodeCacheName(TextView text) {
  Text encoded;
  encoded.reserve(text.size());
  for (const char16_t unit : text) {
    const auto* reserved = std::ranges::find(kReserved, unit, &ReservedUnit::unit);
    if (reserved == std::end(kReserved)) {
      encoded += unit;
    } else {
      encoded += reserved->encoded;
    }
  }
  return encoded;
}

TextView FolderPart(TextView path) {
  const size_t slash = path.rfind(u'/');
  return path.substr(0, slash == TextView::npos ? 0 : slash);
}

Text PathParent(TextView path) {
  const TextView folder = FolderPart(path);
  return folder.empty() ? Text(u"/") : Text(folder);
}

TextView PathLeaf(TextView path) {
  const size_t slash = path.rfind(u'/');
  return slash == TextView::npos ? path : path.substr(slash + 1);
}

TextView WithoutTrailingSlash(TextView path) {
  if (path.ends_with(u'/')) path.remove_suffix(1);
  return path;
}

bool IsAtOrBeneath(TextView path, TextView top) {
  if (!path.starts_with(top)) return false;
  return path.size() == top.size() || path[top.size()] == u'/';
}

bool IsCacheFileName(TextView leaf) {
  const Text name = ToLower(leaf);
  return name.starts_with(u"dir#zv") || name.starts_with(u"file#zv");
}

CacheNames::CacheNames() {
  const Text user_name = ReadSettingOrThrow(kConnectionParameters, u"UserName");
  folder_ = CacheBaseFolder() + Format(u"\\Cache@%s\\", user_name);
}

Text CacheNames::work_folder() const {
  const TextView folder = TextView(folder_).substr(0, folder_.size() - 1);
  const size_t leaf = folder.rfind(u'\\') + 1;
  return Format(u"%sWork-%s\\", folder.substr(0, leaf), folder.substr(leaf));
}

// A server path as the last part of a file's name.
Text CacheNames::FlatPath(TextView path) const {
  return prefix_ + EncodeCacheName(
                       ReplaceAll(ReplaceAll(WithoutTrailingSlash(path), u'\\', u'#'), u'/', u'#'));
}

Text CacheNames::GetDirRecordName(TextView path) const {
  return Format(u"%sdir%c%s", folder_, u'#', FlatPath(path));
}

Text CacheNames::GetFileRecordName(TextView path) const {
  return Format(u"%sfile%c%s#", folder_, u'#', FlatPath(path));
}

Text CacheNames::GetTimeFileName(TextView path) const {
  const Text name = path.ends_with(u'/') ? GetDirRecordName(path) : GetFileRecordName(path);
  return name + Text(kTimeFileSuffix);
}

}  // namespace zv
