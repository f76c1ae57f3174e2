// What handlers read out of a request's texts. Any thread; no state.
#pragma once

#include "driver/protocol.h"
#include "platform/text.h"

namespace zv {

// A request path as cache and server use it: "/" for every "\".
Text ServerPath(TextView request_path);
// The drive's local name (from the settings) and a request path: what the shell knows the file by.
Text LocalFullPath(TextView request_path);
// Whether the shell's own process asked.
bool IsFromExplorer(const RequestRecord& request);

// The path on the drive within a rename's target, which comes in the system's internal form:
// "\??\UNC\server\share\path" ("UNC Server" and "UNC Share" of the settings tell how much to drop)
// or
// "\??\Y:\path". A text that is shorter than what is to be dropped gives an empty path.
Text RenameTargetPath(TextView internal_path);

}  // namespace zv
