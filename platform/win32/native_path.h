// Paths as the system takes them without a length limit.
#pragma once

#include <optional>
#include <string>

#include "platform/text.h"

namespace zv {

struct NativePath {
  std::wstring path;
  Text long_name;  // the last element, when it is stored under a shorter name

  std::wstring folder() const;
  Text leaf() const;  // as stored
};

// A path with a drive letter in the form "\\?\C:\...", in which the system allows 32,767 units
// instead of 259 and keeps a dot or blank at the end of a name; "." and ".." are followed by their
// words, and an element of more than 255 units is one that is stored under a shorter name
// (platform/shared/stored_name.h). Any other path as it is. nullopt, with LastError(), when the
// path holds a zero.
std::optional<NativePath> ToNativePath(TextView path);

}  // namespace zv
