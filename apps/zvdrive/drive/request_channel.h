// How the drive reaches the worker: request records in, reply records out.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>

#include "driver/protocol.h"

namespace zv {

enum class DriveQueue { kInfo, kTransfer };

struct ChannelReply {
  uint32_t code = 0;                     // control code of the reply
  std::array<std::byte, 1112> record{};  // the reply record, from its first byte
  size_t record_size = 0;                // bytes of it
  size_t data_size = 0;                  // bytes that a restore put into `into`
};

// Called now and then on the thread that waits. False: it would rather not wait any longer.
using WhileWaiting = std::function<bool()>;

// Requests of which each is made from the reply to the one before it.
class RequestRow {
 public:
  virtual ~RequestRow() = default;
  // Waits for the row's end. False: a reply did not come.
  virtual bool Wait() = 0;
  // Waits for it no longer than the caller wants to. Whether it has ended.
  virtual bool WaitWhile(const WhileWaiting& while_waiting) = 0;
};

// What a backup step hands over.
struct HandedBlock {
  std::span<const std::byte> bytes;
  // Keeps the bytes as they are for as long as somebody has it. Without it they are copied.
  std::shared_ptr<const void> keeper;
};

enum class RowOrder {
  kAmongOthers,  // each request waits in line, others may come in between
  kUnbroken,     // nothing of the queue comes between the first request and the last
};

class RequestChannel {
 public:
  virtual ~RequestChannel() = default;

  // Queues a request and waits for its end. block: what a backup step hands over. into: where a
  // restore's bytes go, at most its size. while_waiting may be empty; who would rather not wait any
  // longer has the request withdrawn if nobody has fetched it yet. nullopt: no reply will come (the
  // handler failed, the worker is gone, or the request is withdrawn). Any thread; requests of one
  // queue are served in the order of their submission.
  virtual std::optional<ChannelReply> Submit(DriveQueue queue, const RequestRecord& record,
                                             std::span<const std::byte> block,
                                             std::span<std::byte> into,
                                             const WhileWaiting& while_waiting) = 0;

  // Takes a reply and fills the record of the request that follows it; false: none does.
  using NextRequest = std::function<bool(const ChannelReply&, RequestRecord&)>;
  // Queues the first request of a row; block is what it hands over, those that follow have none.
  // next may be called on the worker's thread, so that nobody has to be woken between two requests;
  // it must be quick. The block and what next refers to are there until the row has ended or is
  // destroyed, which withdraws what of it nobody has fetched yet.
  virtual std::unique_ptr<RequestRow> BeginRow(DriveQueue queue, const RequestRecord& first,
                                               const HandedBlock& block, NextRequest next,
                                               RowOrder order) = 0;
};

}  // namespace zv
