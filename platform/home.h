// Where this user's ZVWorker lives on Linux: the environment's ZVWORKER_HOME, else
// $XDG_DATA_HOME/zvworker, else ~/.local/share/zvworker. Below it: registry.db and
// drives/<letter>/. Tests and side-by-side accounts set ZVWORKER_HOME (or SetHomeFolder). Unused on
// Windows.
#pragma once

#include <string>

namespace zv {

// UTF-8, absolute, without a trailing slash; made when missing.
std::string HomeFolder();

namespace testing {
// From now on in this process; also lets go of the registry store and file look-ups of the old
// home. Not while other threads use the library.
void SetHomeFolder(const std::string& folder);
}  // namespace testing

}  // namespace zv
