// The callbacks of a mount: each becomes a call of the drive.
#pragma once

struct fuse_operations;

namespace zv {

// For a mount whose private data is a Mounted (mounted.h).
fuse_operations FuseCallbacks();

}  // namespace zv
