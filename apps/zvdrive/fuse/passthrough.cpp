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

std::atomic<bool> is_wanted = false;
std::atomic<bool> is_accepted = false;
thread_local bool answers_the_offer = false;
thread_local int32_t next_open_backing = 0;

bool IsSuccess(const iovec& header) {
  FuseReplyHeader reply;
  if (header.iov_len < sizeof reply) return false;
  std::memcpy(&reply, header.iov_base, sizeof reply);
  return reply.unique != 0 && reply.error == 0;
}

}  // namespace

void WantPassthrough() { is_wanted = true; }

void NoteRequest(std::span<const std::byte> request) {
  next_open_backing = 0;
  answers_the_offer = is_wanted && OffersPassthrough(request);
}

// A reply is a header and what belongs to it; those that matter here come in these two pieces.
void AmendReply(std::span<const iovec> pieces) {
  const bool concerns_us = answers_the_offer || next_open_backing != 0;
  if (!concerns_us || pieces.size() != 2 || !IsSuccess(pieces[0])) return;
  const std::span body(static_cast<std::byte*>(pieces[1].iov_base), pieces[1].iov_len);
  if (std::exchange(answers_the_offer, false)) is_accepted = AcceptPassthrough(body);
  if (const int32_t id = std::exchange(next_open_backing, 0)) PassThrough(body, id);
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
