// The kernel's FUSE device, as far as a FUSE library is not in between. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

struct iovec;

namespace zv {

// One request; its size in bytes, or -1 with errno.
ptrdiff_t ReadFuseRequest(int device, std::span<std::byte> buffer);
// One reply; its size in bytes, or -1 with errno.
ptrdiff_t WriteFuseReply(int device, std::span<const iovec> pieces);

// Names a file of this process to the kernel, for opens that are passed through. Its backing id,
// which is above 0, or -1 with errno: EPERM for other users than root, ELOOP for a file system that
// is laid over others.
int32_t OpenFuseBacking(int device, int descriptor);
void CloseFuseBacking(int device, int32_t backing_id);

}  // namespace zv
