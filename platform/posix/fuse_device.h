// The kernel's FUSE device, as far as a FUSE library is not in between. Any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

struct iovec;

namespace zv {

// Where one request comes: the next place takes what the one before it cannot hold.
using FuseRequestPlaces = std::array<std::span<std::byte>, 3>;
// One request; its size in bytes, or -1 with errno.
ptrdiff_t ReadFuseRequest(int device, const FuseRequestPlaces& places);
// One reply; its size in bytes, or -1 with errno.
ptrdiff_t WriteFuseReply(int device, std::span<const iovec> pieces);

// Names a file of this process to the kernel, for opens that are passed through. Its backing id,
// which is above 0, or -1 with errno: EPERM for other users than root, ELOOP for a file system that
// is laid over others.
int32_t OpenFuseBacking(int device, int descriptor);
void CloseFuseBacking(int device, int32_t backing_id);

}  // namespace zv
