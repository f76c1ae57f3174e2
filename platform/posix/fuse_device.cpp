#include "platform/posix/fuse_device.h"

#include <sys/uio.h>
#include <unistd.h>

#include "platform/posix/fuse_records.h"

namespace zv {

ptrdiff_t ReadFuseRequest(int device, std::span<std::byte> buffer) {
  return ::read(device, buffer.data(), buffer.size());
}

ptrdiff_t WriteFuseReply(int device, std::span<const iovec> pieces) {
  return ::writev(device, pieces.data(), static_cast<int>(pieces.size()));
}

int32_t OpenFuseBacking(int device, int descriptor) {
  FuseBackingMap map{.descriptor = descriptor, .flags = 0, .padding = 0};
  return ::ioctl(device, kFuseBackingOpen, &map);
}

void CloseFuseBacking(int device, int32_t backing_id) {
  auto id = static_cast<uint32_t>(backing_id);
  ::ioctl(device, kFuseBackingClose, &id);
}

}  // namespace zv
