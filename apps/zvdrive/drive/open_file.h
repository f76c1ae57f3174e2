// One file in use on the drive, shared by everyone who has it open.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>

#include "apps/zvdrive/drive/drive_requests.h"
#include "apps/zvdrive/drive/write_block.h"
#include "platform/text.h"

namespace zv {

// Writes that follow each other, on their way into one block.
struct GatheredWrites {
  int64_t offset = 0;
  int64_t size_before = 0;   // of the file
  bool begins_anew = false;  // the file, when it is stored
  WriteBlockPtr block;       // kept for the next ones, too

  std::span<const std::byte> bytes() const {
    return block ? block->bytes() : std::span<const std::byte>();
  }
  bool empty() const { return bytes().empty(); }
  int64_t end() const { return offset + static_cast<int64_t>(bytes().size()); }
  void Clear() {
    if (block) block->SetSize(0);
    begins_anew = false;
  }
};

struct OpenFile {
  // Guards what is below the line, and keeps the file's blocks, completion, renames and deletes in
  // order.
  std::timed_mutex mutex;

  // Changed with the drive's own lock and the mutex both held; read with either.
  Text path;
  int open_count = 0;  // guarded by the drive's own lock
  std::atomic<int64_t> size = 0;
  std::atomic<int64_t> modified = 0;  // seconds since 1601
  // Readers that look at the cached content where it lies (ContentView).
  std::atomic<int> views = 0;

  // ---
  // Made or emptied here, and no block of it was stored since: its next block begins it anew. Its
  // size is 0.
  bool begins_anew = false;
  // The whole content is in the cache and belongs to this session: blocks can be laid over it.
  bool content_is_ours = false;
  // It was read since it was compared with the server's: it is in the cache.
  bool is_fetched = false;
  // Something was written that the worker was not yet told to send.
  bool has_unsent = false;
  // So much could be noted where the next mount finds it.
  bool is_noted = true;
  GatheredWrites gathered;
  // The block before it while it is being stored.
  GatheredWrites stored;
  std::unique_ptr<BlockWrite> storing;  // works on `stored`
  // Opens whose program may change the cached content where it lies, as shared memory.
  int mappings = 0;
  // While such an open is all that makes the file unsent: the content's time when nothing was
  // changed.
  std::optional<FileTime> unchanged_at;
  // A block could not be stored, and none of the writers was told.
  bool has_lost_block = false;
  // Made here and not sent yet: nobody else knows of it.
  bool is_new = false;
  // Asked now and then while the operation under way waits for the worker; empty when it waits to
  // the end.
  WhileWaiting while_waiting;
  // Deleted from under its users: nothing of it is read or sent any more, its path may be another
  // file's.
  bool is_gone = false;
  // A read failed a moment ago.
  std::chrono::steady_clock::time_point reads_fail_until;
};

// What is known of an entry, as the file's users see it.
inline NodeInfo InfoOf(const OpenFile& file, NodeInfo info) {
  info.is_folder = false;
  info.size = file.size;
  info.modified = {file.modified};
  return info;
}

}  // namespace zv
