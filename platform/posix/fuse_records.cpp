#include "platform/posix/fuse_records.h"

#include <cstring>

namespace zv {
namespace {

constexpr uint32_t kInitExtended = 1U << 30;       // of FuseInitRequest::flags: flags2 counts
constexpr uint32_t kInitPassthrough = 1U << 5;     // of flags2
constexpr uint32_t kOpenPassedThrough = 1U << 7;   // of FuseOpenReply::flags
constexpr uint32_t kOrdinaryFileSystemsDepth = 1;  // not one that is laid over another

// The kernel's buffers are not aligned for us.
template <typename Record>
bool Load(std::span<const std::byte> bytes, Record* record) {
  if (bytes.size() < sizeof(Record)) return false;
  std::memcpy(record, bytes.data(), sizeof(Record));
  return true;
}

template <typename Record>
void Store(const Record& record, std::span<std::byte> bytes) {
  std::memcpy(bytes.data(), &record, sizeof(Record));
}

}  // namespace

size_t BytesOfWrite(std::span<const std::byte> request) {
  FuseRequestHeader header;
  FuseWriteRequest write;
  if (!Load(request, &header) || header.opcode != kFuseWrite ||
      !Load(request.subspan(sizeof header), &write)) {
    return 0;
  }
  return write.size;
}

bool OffersPassthrough(std::span<const std::byte> request) {
  FuseRequestHeader header;
  FuseInitRequest init;
  if (!Load(request, &header) || header.opcode != kFuseInit ||
      !Load(request.subspan(sizeof header), &init)) {
    return false;
  }
  return (init.flags & kInitExtended) != 0 && (init.flags2 & kInitPassthrough) != 0;
}

bool AcceptPassthrough(std::span<std::byte> init_reply) {
  FuseInitReply init;
  if (!Load(init_reply, &init)) return false;
  init.flags |= kInitExtended;
  init.flags2 |= kInitPassthrough;
  init.max_stack_depth = kOrdinaryFileSystemsDepth;
  Store(init, init_reply);
  return true;
}

bool PassThrough(std::span<std::byte> open_reply, int32_t backing_id) {
  FuseOpenReply open;
  if (open_reply.size() < sizeof open) return false;
  const auto record = open_reply.last(sizeof open);  // a create's begins with the entry
  Load(record, &open);
  open.flags |= kOpenPassedThrough;
  open.backing_id = backing_id;
  Store(open, record);
  return true;
}

}  // namespace zv
