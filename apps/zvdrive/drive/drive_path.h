// Paths on the drive: backslashes, a leading one, no trailing one; the root is "\".
#pragma once

#include "apps/zvdrive/drive/drive_error.h"
#include "platform/text.h"

namespace zv {

inline constexpr TextView kDriveRoot = u"\\";

// The folder that holds the path, and its last element. The root's parent is the root.
Text ParentOf(TextView path);
Text LeafOf(TextView path);
// The same as parts of the path.
TextView ParentPart(TextView path);
TextView LeafPart(TextView path);
Text JoinPath(TextView folder, TextView leaf);
// Whether the path is the folder or lies beneath it.
bool IsWithin(TextView path, TextView folder);

// Whether a new entry may have this path: its name must be one that listings can hold (no
// separator, no "?", no line end, not empty, not "." or ".."), and a rename's record must hold the
// whole.
DriveError CheckNewPath(TextView path);

}  // namespace zv
