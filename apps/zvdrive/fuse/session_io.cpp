#include "apps/zvdrive/fuse/session_io.h"

#define FUSE_USE_VERSION 312
#include <fuse_lowlevel.h>

#include <algorithm>
#include <span>

#include "apps/zvdrive/fuse/hidden_files.h"
#include "apps/zvdrive/fuse/passthrough.h"
#include "apps/zvdrive/fuse/received_write.h"
#include "platform/posix/fuse_device.h"

namespace zv {
namespace {

ssize_t ReadRequest(int device, void* buffer, size_t size, void*) {
  const std::span room(static_cast<std::byte*>(buffer), size);
  const ptrdiff_t count = ReceiveRequest(device, room);
  const auto request = room.first(static_cast<size_t>(std::max<ptrdiff_t>(count, 0)));
  NoteRequest(request);
  NoteNamesOf(request);
  return count;
}

ssize_t WriteReply(int device, iovec* pieces, int count, void*) {
  const std::span<const iovec> reply(pieces, static_cast<size_t>(count));
  AmendReply(reply);
  return WriteFuseReply(device, reply);
}

}  // namespace

void CarryRequests(fuse_session* session) {
  fuse_custom_io io{};
  io.read = ReadRequest;
  io.writev = WriteReply;
  // Without it the session goes on as it is.
  fuse_session_custom_io(session, &io, fuse_session_fd(session));
}

}  // namespace zv
