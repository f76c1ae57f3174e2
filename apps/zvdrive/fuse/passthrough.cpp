#include "apps/zvdrive/fuse/passthrough.h"

#define FUSE_USE_VERSION 312
#include <fuse_lowlevel.h>

#include <atomic>
#include <cstring>
#include <span>
#include <utility>

#include "platform/posix/fuse_device.h"
#include "platform/posix/fuse_records.h"

namespace zv {
namespace {

std::atomic<bool> is_accepted = false;
// libfuse answers a request on the thread that read it.
thread_local bool answers_the_offer = false;
thread_local int32_t next_open_backing = 0;

ssize_t ReadRequest(int device, void* buffer, size_t size, void*) {
  const std::span room(static_cast<std::byte*>(buffer), size);
  const ssize_t count = ReadFuseRequest(device, room);
  next_open_backing = 0;
  answers_the_offer = count > 0 && OffersPassthrough(room.first(static_cast<size_t>(count)));
  return count;
}

bool IsSuccess(const iovec& header) {
  FuseReplyHeader reply;
  if (header.iov_len < sizeof reply) return false;
  std::memcpy(&reply, header.iov_base, sizeof reply);
  return reply.unique != 0 && reply.error == 0;
}

// A reply is a header and what belongs to it; those that matter here come in these two pieces.
ssize_t WriteReply(int device, iovec* pieces, int count, void*) {
  if ((answers_the_offer || next_open_backing != 0) && count == 2 && IsSuccess(pieces[0])) {
    const std::span body(static_cast<std::byte*>(pieces[1].iov_base), pieces[1].iov_len);
    if (std::exchange(answers_the_offer, false)) is_accepted = AcceptPassthrough(body);
    if (const int32_t id = std::exchange(next_open_backing, 0)) PassThrough(body, id);
  }
  return WriteFuseReply(device, {pieces, static_cast<size_t>(count)});
}

}  // namespace

void OfferPassthrough(fuse_session* session) {
  fuse_custom_io io{};
  io.read = ReadRequest;
  io.writev = WriteReply;
  // Without it the session goes on as it is.
  fuse_session_custom_io(session, &io, fuse_session_fd(session));
}

bool IsPassthroughAccepted() { return is_accepted; }

std::optional<BackingFile> BackingFile::Register(fuse_session* session, int descriptor) {
  if (!is_accepted) return std::nullopt;
  const int device = fuse_session_fd(session);
  const int32_t id = OpenFuseBacking(device, descriptor);
  // Who may not do it, or whose files lie on layers, need not try again.
  if (id < 0) is_accepted = false;
  if (id <= 0) return std::nullopt;
  return BackingFile(device, id);
}

BackingFile::~BackingFile() {
  if (id_ != 0) CloseFuseBacking(device_, id_);
}

void PassNextOpenThrough(const BackingFile& file) { next_open_backing = file.id(); }

}  // namespace zv
