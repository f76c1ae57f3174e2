// Reads that the kernel answers from a file of this machine, without asking us. It can since Linux
// 6.9, for mounts of root; where it cannot, nothing here has an effect.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

struct fuse_session;
struct iovec;

namespace zv {

// Accepts it when the kernel offers it at the start of the session. One session in a process.
void WantPassthrough();

// What goes by between the kernel and libfuse; a request is answered on the thread that read it.
void NoteRequest(std::span<const std::byte> request);
void AmendReply(std::span<const iovec> pieces);

// Whether the kernel has accepted, and refused no file since.
bool IsPassthroughAccepted();

// A file that opens can be passed through to while this lives; those that were go on when it ends.
// The session must be mounted as long. Any thread.
class BackingFile {
 public:
  // descriptor: stays the caller's. nullopt when the kernel takes no such file from us.
  static std::optional<BackingFile> Register(fuse_session* session, int descriptor);
  BackingFile(BackingFile&& other) noexcept
      : device_(other.device_), id_(std::exchange(other.id_, 0)) {}
  BackingFile& operator=(BackingFile&&) = delete;
  ~BackingFile();

  int32_t id() const { return id_; }

 private:
  BackingFile(int device, int32_t id) : device_(device), id_(id) {}

  const int device_;
  int32_t id_;  // 0 when moved from
};

// The reply to open that this thread sends next passes the reads through.
void PassNextOpenThrough(const BackingFile& file);

}  // namespace zv
