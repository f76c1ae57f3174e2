// Taking Windows paths apart, lexically.
#pragma once

#include "platform/text.h"

namespace zv {

struct DrivePath {
  char16_t drive = u'C';  // a capital
  TextView rest;          // what follows the drive, with or without a leading separator
};

inline bool IsPathSeparator(char16_t unit) { return unit == u'\\' || unit == u'/'; }

// "x:" at the beginning, in either case.
bool HasDrive(TextView path);
// A path without a drive is on drive C.
DrivePath SplitDrive(TextView path);
// Takes the next element off a path; separators at its beginning go. Empty at the end.
TextView TakePathElement(TextView* rest);
// What follows the last separator.
TextView LastPathElement(TextView path);

}  // namespace zv
