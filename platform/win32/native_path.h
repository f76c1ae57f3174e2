// Paths as the system takes them without a length limit.
#pragma once

#include <optional>
#include <string>

#include "platform/text.h"

namespace zv {

// A path with a drive letter in the form "\\?\C:\...", in which the system allows 32,767 units
// instead of 259 and keeps a dot or blank at the end of a name; "." and ".." are followed by their
// words. Any other path as it is. nullopt, with LastError(), when the path holds a zero.
std::optional<std::wstring> ToNativePath(TextView path);

}  // namespace zv
