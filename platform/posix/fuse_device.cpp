#include "platform/posix/fuse_device.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <tuple>

#include "platform/posix/fuse_records.h"

namespace zv {

ptrdiff_t ReadFuseRequest(int device, const FuseRequestPlaces& places) {
  iovec pieces[std::tuple_size_v<FuseRequestPlaces>];
  std::ranges::transform(places, pieces, [](std::span<std::byte> place) -> iovec {
    return {place.data(), place.size()};
  });
  return ::readv(device, pieces, static_cast<int>(std::size(pieces)));
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
