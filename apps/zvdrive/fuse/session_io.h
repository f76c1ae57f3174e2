// How requests come from the kernel to libfuse, and replies go back.
#pragma once

struct fuse_session;

namespace zv {

// The session must be mounted and not served yet. One session in a process.
void CarryRequests(fuse_session* session);

}  // namespace zv
