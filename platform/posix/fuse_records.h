// What the kernel's FUSE device exchanges, as far as libfuse 3.14 does not know it yet (passing the
// reads of an open file through to another file: Linux 6.9, kernel headers, linux/fuse.h, protocol
// 7.40) or keeps it to itself (where a write's bytes begin).
#pragma once

#include <sys/ioctl.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace zv {

inline constexpr uint32_t kFuseUnlink = 10;
inline constexpr uint32_t kFuseRename = 12;
inline constexpr uint32_t kFuseWrite = 16;
inline constexpr uint32_t kFuseInit = 26;  // the first request of a mount
inline constexpr uint32_t kFuseRenameWithFlags = 45;

struct FuseRequestHeader {
  uint32_t length;  // bytes, with this header
  uint32_t opcode;
  uint64_t unique;
  uint64_t node;
  uint32_t user;
  uint32_t group;
  uint32_t process;
  uint16_t extension_length;
  uint16_t padding;
};
static_assert(sizeof(FuseRequestHeader) == 40 && offsetof(FuseRequestHeader, unique) == 8);

struct FuseReplyHeader {
  uint32_t length;  // bytes, with this header
  int32_t error;    // 0 or a negative errno
  uint64_t unique;  // the request's
};
static_assert(sizeof(FuseReplyHeader) == 16 && offsetof(FuseReplyHeader, unique) == 8);

// The bytes follow.
struct FuseWriteRequest {
  uint64_t handle;
  uint64_t offset;
  uint32_t size;
  uint32_t write_flags;
  uint64_t lock_owner;
  uint32_t open_flags;
  uint32_t padding;
};
static_assert(sizeof(FuseWriteRequest) == 40 && offsetof(FuseWriteRequest, size) == 16);

struct FuseInitRequest {
  uint32_t major;
  uint32_t minor;
  uint32_t max_readahead;
  uint32_t flags;
  uint32_t flags2;  // the upper half of the flags
};
static_assert(sizeof(FuseInitRequest) == 20 && offsetof(FuseInitRequest, flags2) == 16);

struct FuseInitReply {
  uint32_t major;
  uint32_t minor;
  uint32_t max_readahead;
  uint32_t flags;
  uint16_t max_background;
  uint16_t congestion_threshold;
  uint32_t max_write;
  uint32_t time_granularity;
  uint16_t max_pages;
  uint16_t map_alignment;
  uint32_t flags2;
  uint32_t max_stack_depth;  // of the file systems that opens may be passed through to
  uint32_t unused[6];
};
static_assert(sizeof(FuseInitReply) == 64 && offsetof(FuseInitReply, flags) == 12 &&
              offsetof(FuseInitReply, flags2) == 32 &&
              offsetof(FuseInitReply, max_stack_depth) == 36);

struct FuseOpenReply {
  uint64_t handle;
  uint32_t flags;
  int32_t backing_id;
};
static_assert(sizeof(FuseOpenReply) == 16 && offsetof(FuseOpenReply, flags) == 8 &&
              offsetof(FuseOpenReply, backing_id) == 12);

// Names a file of this process to the kernel; the answer is its backing id.
struct FuseBackingMap {
  int32_t descriptor;
  uint32_t flags;
  uint64_t padding;
};
static_assert(sizeof(FuseBackingMap) == 16);
inline constexpr unsigned long kFuseBackingOpen = _IOW(229, 1, FuseBackingMap);
inline constexpr unsigned long kFuseBackingClose = _IOW(229, 2, uint32_t);

// How many bytes a write brings; 0 when the request is none. request: its two records at least.
size_t BytesOfWrite(std::span<const std::byte> request);

// True when a request is the first one of a mount and the kernel offers to pass reads through.
bool OffersPassthrough(std::span<const std::byte> request);
// Makes the reply to that request accept the offer. False, with nothing changed, when the reply is
// none of a kernel that could.
bool AcceptPassthrough(std::span<std::byte> init_reply);
// Makes the reply to an open, or to a create, pass the file through. False as above.
bool PassThrough(std::span<std::byte> open_reply, int32_t backing_id);

}  // namespace zv
