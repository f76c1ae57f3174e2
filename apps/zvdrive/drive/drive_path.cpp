#include "apps/zvdrive/drive/drive_path.h"

namespace zv {
namespace {

// A rename carries its target with six more units in front ("\??\" and the drive).
constexpr size_t kLongestNewPath = 253;

}  // namespace

TextView ParentPart(TextView path) {
  const size_t slash = path.rfind(u'\\');
  return slash == TextView::npos || slash == 0 ? kDriveRoot : path.substr(0, slash);
}

TextView LeafPart(TextView path) {
  const size_t slash = path.rfind(u'\\');
  return slash == TextView::npos ? path : path.substr(slash + 1);
}

Text ParentOf(TextView path) { return Text(ParentPart(path)); }

Text LeafOf(TextView path) { return Text(LeafPart(path)); }

Text JoinPath(TextView folder, TextView leaf) {
  Text path(folder);
  if (path.empty() || path.back() != u'\\') path += u'\\';
  return path.append(leaf);
}

bool IsWithin(TextView path, TextView folder) {
  if (folder == kDriveRoot || path == folder) return true;
  return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == u'\\';
}

DriveError CheckNewPath(TextView path) {
  if (path.size() > kLongestNewPath) return DriveError::kNameTooLong;
  const Text leaf = LeafOf(path);
  if (leaf.empty() || leaf == u"." || leaf == u"..") return DriveError::kInvalidName;
  constexpr TextView kNever = u"/?\r\n";
  if (leaf.find_first_of(kNever) != Text::npos) return DriveError::kInvalidName;
  return DriveError::kNone;
}

}  // namespace zv
