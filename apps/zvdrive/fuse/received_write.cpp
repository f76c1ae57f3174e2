#include "apps/zvdrive/fuse/received_write.h"

#include <algorithm>
#include <cstring>

#include "platform/posix/fuse_device.h"
#include "platform/posix/fuse_records.h"

namespace zv {
namespace {

constexpr size_t kHead = sizeof(FuseRequestHeader) + sizeof(FuseWriteRequest);

// libfuse answers a request on the thread that read it.
thread_local WriteBlockPtr received;
thread_local bool holds_a_write = false;

}  // namespace

ptrdiff_t ReceiveRequest(int device, std::span<std::byte> buffer) {
  holds_a_write = false;
  try {
    if (!received) received = std::make_shared<WriteBlock>();
  } catch (const std::bad_alloc&) {
    // libfuse's buffer does as well.
  }
  if (!received || buffer.size() < kHead + kLargestBlock) {
    return ReadFuseRequest(device, {buffer});
  }
  const auto body = buffer.subspan(kHead, kLargestBlock);
  const auto rest = buffer.subspan(kHead + kLargestBlock);
  const ptrdiff_t count = ReadFuseRequest(device, {buffer.first(kHead), received->memory(), rest});
  if (count <= static_cast<ptrdiff_t>(kHead)) return count;
  const size_t got = std::min(static_cast<size_t>(count) - kHead, kLargestBlock);
  holds_a_write = got >= kLeastGathered && BytesOfWrite(buffer.first(kHead)) == got;
  if (holds_a_write) {
    received->SetSize(got);
  } else {
    std::memcpy(body.data(), received->memory().data(), got);
  }
  return count;
}

WriteBlockPtr* ReceivedWrite() { return holds_a_write ? &received : nullptr; }

}  // namespace zv
