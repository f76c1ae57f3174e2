// The driver's requests, each as one call: fills the record, waits for the worker, reads the reply.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "apps/zvdrive/drive/drive_error.h"
#include "apps/zvdrive/drive/lock_while.h"
#include "apps/zvdrive/drive/request_channel.h"
#include "apps/zvdrive/drive/write_block.h"
#include "platform/clock.h"
#include "platform/text.h"

namespace zv {

struct NodeInfo {
  bool is_folder = false;
  int64_t size = 0;  // bytes
  Seconds1601 created;
  Seconds1601 modified;
};

struct NamedNode {
  Text name;
  NodeInfo info;
};

struct VolumeSize {
  int64_t quota_mib = 0;
  int64_t used_mib = 0;
};

// A block on its way into the cache. The bytes are there until it is waited for or destroyed.
class BlockWrite {
 public:
  virtual ~BlockWrite() = default;
  // Waits until it is stored, or cannot be. kInterrupted: it is still on its way, and while_waiting
  // (may be empty) would rather not wait any longer.
  virtual DriveError Wait(const WhileWaiting& while_waiting) = 0;
};

// Any thread.
class DriveRequests {
 public:
  // one_at_a_time: no request, of either queue, begins before the one before it has ended; a sync
  // account's worker needs that.
  explicit DriveRequests(RequestChannel& channel, bool one_at_a_time = false)
      : channel_(channel), one_at_a_time_(one_at_a_time) {}

  // Held by whoever asks the worker for something else than a request. Holds nothing when requests
  // need no turns, or while_waiting would rather not wait any longer.
  PatientLock TakeTurn(const WhileWaiting& while_waiting = {});

  using NodeSink = std::function<void(NamedNode&)>;
  // Everything in a folder but "." and "..". sink (may be empty) gets each entry as it comes in,
  // perhaps on the worker's thread, and may change it; it must be quick. A walk that does not even
  // yield "." is kIo: the worker could not list it. The caller sees to it that one walk ends before
  // another begins: another folder's request would replace the worker's loaded listing.
  DriveResult<std::vector<NamedNode>> Walk(TextView folder, const NodeSink& sink = {});
  // nullopt: absent, failed or unreachable alike.
  std::optional<NodeInfo> QueryInfo(TextView path);
  DriveResult<VolumeSize> Volume();

  // Bytes read. The caller keeps the range within the file. while_waiting: as in Complete.
  DriveResult<size_t> Read(TextView path, int64_t offset, std::span<std::byte> into,
                           const WhileWaiting& while_waiting = {});
  // Begins to store one block. begin: the file begins anew with this block (offset 0 only).
  std::unique_ptr<BlockWrite> BeginWrite(TextView path, int64_t offset, const HandedBlock& block,
                                         bool begin);
  // Stores one block and makes sure that it was stored. kInterrupted: nobody knows, and
  // while_waiting would rather not wait any longer.
  DriveError Write(TextView path, int64_t offset, std::span<const std::byte> block, bool begin,
                   const WhileWaiting& while_waiting = {});
  // A file without data. while_waiting: as in Complete.
  DriveError WriteEmptyFile(TextView path, TextView process,
                            const WhileWaiting& while_waiting = {});
  // The file is complete; returns when the worker has done what it could to send it.
  DriveError Complete(TextView path, TextView process, const WhileWaiting& while_waiting);

  DriveError MakeFolder(TextView path, const WhileWaiting& while_waiting = {});
  // Folders with everything beneath them.
  DriveError Delete(TextView path, TextView process);
  // kExists when the target exists and replace is false.
  DriveError Rename(TextView from, TextView to, bool replace, TextView drive_letter,
                    TextView process);

 private:
  std::optional<ChannelReply> Submit(DriveQueue queue, const RequestRecord& record,
                                     std::span<std::byte> into, const WhileWaiting& while_waiting);
  std::optional<StatusWord> SubmitForStatus(DriveQueue queue, const RequestRecord& record,
                                            const WhileWaiting& while_waiting = {});
  class Block;

  RequestChannel& channel_;
  const bool one_at_a_time_;
  std::timed_mutex turn_mutex_;
};

}  // namespace zv
