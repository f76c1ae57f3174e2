// Renaming that never replaces.
#pragma once

#include <string>

namespace zv {

// False, with errno, when the new name is taken (EEXIST) or the file cannot be renamed.
bool RenameToNew(const std::string& from, const std::string& to);
// For file systems that know no such renaming: a second name for the file, then the first one goes,
// or, when it cannot, the second one. Files only.
bool RenameByLink(const std::string& from, const std::string& to);

}  // namespace zv
