#include "platform/shared/path.h"

#include <algorithm>

namespace zv {

bool HasDrive(TextView path) {
  if (path.size() < 2 || path[1] != u':') return false;
  const char16_t letter = ToLower(path[0]);
  return letter >= u'a' && letter <= u'z';
}

DrivePath SplitDrive(TextView path) {
  if (!HasDrive(path)) return {u'C', path};
  return {static_cast<char16_t>(ToLower(path[0]) - u'a' + u'A'), path.substr(2)};
}

TextView TakePathElement(TextView* rest) {
  const auto begin = std::find_if_not(rest->begin(), rest->end(), IsPathSeparator);
  const auto end = std::find_if(begin, rest->end(), IsPathSeparator);
  const TextView element(begin, end);
  *rest = TextView(end, rest->end());
  return element;
}

TextView LastPathElement(TextView path) {
  const auto last = std::find_if(path.rbegin(), path.rend(), IsPathSeparator);
  return TextView(last.base(), path.end());
}

}  // namespace zv
